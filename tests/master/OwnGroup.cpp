#include "tests/master/OwnGroup.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include "master/run/TaskGroups.h"

namespace
{

namespace fs = std::filesystem;

std::string ReadGroupText(const char *file)
{
    std::ifstream stream(file);
    return {std::istreambuf_iterator<char>(stream), {}};
}

bool WriteGroupText(const ostrel::Path &file, const std::string &text)
{
    std::ofstream stream(file.Text(), std::ios::in | std::ios::out);
    stream << text << std::flush;
    return bool(stream);
}

// From the deepest up. False where one is not empty yet.
bool RemoveGroups(const fs::path &folder)
{
    for (const fs::directory_entry &entry : fs::directory_iterator(folder))
        if (entry.is_directory() && !RemoveGroups(entry.path()))
            return false;
    return ::rmdir(folder.c_str()) == 0;
}

} // namespace

OwnGroup::OwnGroup()
{
    m_before = master::TaskGroups::FolderOf(ReadGroupText("/proc/self/cgroup"),
                                            ReadGroupText("/proc/self/mountinfo"));
    if (!m_before)
        return;
    const ostrel::Path folder = *m_before / ("ordwick-test." + std::to_string(::getpid()));
    if (::mkdir(folder.Text().c_str(), 0755) != 0)
        return;
    if (::setxattr(folder.Text().c_str(), "user.delegate", "1", 1, 0) == 0 &&
        WriteGroupText(folder / "cgroup.procs", "0"))
        m_folder = folder;
    else
        ::rmdir(folder.Text().c_str());
}

OwnGroup::~OwnGroup()
{
    if (!m_folder)
        return;
    WriteGroupText(*m_before / "cgroup.procs", "0");
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    do
        WriteGroupText(*m_folder / "cgroup.kill", "1");
    while (!RemoveGroups(m_folder->Text().c_str()) && std::chrono::steady_clock::now() < limit);
}
