#include "keeper/Group.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <string_view>
#include <unistd.h>
#include <utility>

namespace keeper
{

namespace
{

// Its files are there or cannot be made.
int OpenFileOf(const std::string &group, const char *leaf)
{
    return ::open((group + leaf).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
}

} // namespace

Group::Group(std::string folder) : m_folder(std::move(folder))
{
    if (m_folder.empty())
        return;
    m_processes = ::open((m_folder + "/cgroup.procs").c_str(), O_WRONLY | O_CLOEXEC);
    m_openError = errno;
    m_kill = OpenFileOf(m_folder, "/cgroup.kill");
}

Group::~Group()
{
    for (const int file : {m_processes, m_kill})
        if (file >= 0)
            ::close(file);
}

bool Group::Join() const
{
    if (m_folder.empty())
        return true;
    if (m_processes >= 0)
        return ::write(m_processes, "0", 1) == 1;
    errno = m_openError;
    return false;
}

bool Group::Kill() const
{
    return m_kill >= 0 && ::write(m_kill, "1", 1) == 1;
}

bool Group::HadTooMuchMemory() const
{
    if (m_folder.empty())
        return false;
    std::FILE *const events = std::fopen((m_folder + "/memory.events").c_str(), "re");
    if (!events)
        return false;
    char name[64] = {};
    long long count = 0;
    while (std::fscanf(events, "%63s %lld", name, &count) == 2 &&
           std::string_view(name) != "oom_kill")
        count = 0;
    std::fclose(events);
    return count > 0;
}

bool KillGroup(const std::string &group)
{
    return Group(group).Kill();
}

} // namespace keeper
