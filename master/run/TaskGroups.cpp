#include "master/run/TaskGroups.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include "keeper/Group.h"
#include "ostrel/CallEntry.h"
#include "ostrel/Descriptor.h"
#include "ostrel/Log.h"

namespace master
{

using ostrel::_CallEntry;

namespace
{

namespace fs = std::filesystem;

// In which a group may use its share of the processors: the system's own choice.
constexpr std::uint64_t k_period_us = 100'000;

std::string ReadGroupFile(const Path &file)
{
    std::ifstream stream(file.Text());
    return {std::istreambuf_iterator<char>(stream), {}};
}

// False, with `errno`, where the system does not take it. A file of a group is there or cannot be
// made.
bool WriteGroupFile(const Path &file, const std::string &text)
{
    const ostrel::Descriptor opened(
        ::open(file.Text().c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    return opened.Number() >= 0 &&
           ::write(opened.Number(), text.data(), text.size()) == ssize_t(text.size());
}

bool HasWord(const std::string &text, const std::string &word)
{
    std::istringstream words(text);
    for (std::string one; words >> one;)
        if (one == word)
            return true;
    return false;
}

// Whoever runs the machine's groups marks those that it leaves to others.
bool IsHandedOver(const Path &group)
{
    for (const char *mark : {"user.delegate", "trusted.delegate"})
    {
        char value = '0';
        if (::getxattr(group.Text().c_str(), mark, &value, 1) == 1 && value == '1')
            return true;
    }
    return false;
}

bool CanWrite(const Path &path)
{
    return ::access(path.Text().c_str(), W_OK) == 0;
}

} // namespace

std::optional<Path> TaskGroups::FolderOf(const std::string &cgroup, const std::string &mountinfo)
{
    _CallEntry call("TaskGroups::FolderOf", __FILE__, __LINE__);

    std::optional<std::string> inside;
    std::istringstream lines(cgroup);
    for (std::string line; std::getline(lines, line);)
        if (line.starts_with("0::/"))
            inside = line.substr(3);
    if (!inside)
        return std::nullopt;

    std::istringstream mounts(mountinfo);
    for (std::string line; std::getline(mounts, line);)
    {
        if (line.find(" - cgroup2 ") == std::string::npos)
            continue;
        std::istringstream words(line);
        std::string number, parent, device, root, point;
        words >> number >> parent >> device >> root >> point;
        // What is mounted may be a part of the whole.
        const std::string beyond = root == "/" ? "" : root;
        if (!inside->starts_with(beyond + "/") && *inside != beyond)
            continue;
        const std::string rest = inside->substr(beyond.size());
        return Path(rest == "/" ? point : point + rest);
    }
    return std::nullopt;
}

std::optional<Path> TaskGroups::FindOwn()
{
    _CallEntry call("TaskGroups::FindOwn", __FILE__, __LINE__);

    const std::optional<Path> own =
        FolderOf(ReadGroupFile("/proc/self/cgroup"), ReadGroupFile("/proc/self/mountinfo"));
    if (own && IsHandedOver(*own) && CanWrite(*own) && CanWrite(*own / "cgroup.procs"))
        return own;
    return std::nullopt;
}

TaskGroups::TaskGroups(Path base, const UID &master)
    : m_base(std::move(base)), m_prefix("task." + master.ToString() + ".")
{
    _CallEntry call("TaskGroups::TaskGroups", __FILE__, __LINE__);

    const Path own = m_base / "master";
    const bool isMade = ::mkdir(own.Text().c_str(), 0755) == 0 || errno == EEXIST;
    if (!isMade || !WriteGroupFile(own / "cgroup.procs", "0"))
        ostrel::LogWarning("cannot go into control group " + own.Text() + ": " +
                           std::strerror(errno));
    m_limitsMemory = HandOn("memory", "memory");
    m_limitsProcessors = HandOn("cpu", "processors");
}

// Each by itself: one that is not to be had does not take the other along.
bool TaskGroups::HandOn(const char *controller, const char *what) const
{
    _CallEntry call("TaskGroups::HandOn", __FILE__, __LINE__);

    if (!HasWord(ReadGroupFile(m_base / "cgroup.controllers"), controller))
        return false;
    if (WriteGroupFile(m_base / "cgroup.subtree_control", std::string("+") + controller))
        return true;
    ostrel::LogWarning("control groups in " + m_base.Text() + " limit no " + what + ": " +
                       std::strerror(errno));
    return false;
}

std::optional<Path> TaskGroups::Make(const corvan::RunLimits &limits)
{
    _CallEntry call("TaskGroups::Make", __FILE__, __LINE__);

    const Path group = m_base / (m_prefix + UID(true).ToString());
    if (::mkdir(group.Text().c_str(), 0755) != 0)
    {
        ostrel::LogWarning("cannot make control group " + group.Text() + ": " +
                           std::strerror(errno));
        return std::nullopt;
    }
    const auto limit = [&](const char *leaf, const std::string &text)
    {
        if (!WriteGroupFile(group / leaf, text))
            ostrel::LogWarning("cannot limit control group " + group.Text() + ": " +
                               std::strerror(errno));
    };
    if (limits.memoryMb > 0 && m_limitsMemory)
    {
        limit("memory.max", std::to_string(std::uint64_t(limits.memoryMb) << 20));
        // All of a task goes, or its command would be one that waits for a part of it for ever.
        limit("memory.oom.group", "1");
    }
    if (limits.processors > 0 && m_limitsProcessors)
        limit("cpu.max", std::to_string(std::uint64_t(limits.processors) * k_period_us) + " " +
                             std::to_string(k_period_us));
    return group;
}

void TaskGroups::Kill(const Path &group)
{
    _CallEntry call("TaskGroups::Kill", __FILE__, __LINE__);

    keeper::KillGroup(group.Text());
}

void TaskGroups::Remove(const Path &group)
{
    _CallEntry call("TaskGroups::Remove", __FILE__, __LINE__);

    m_toRemove.push_back(group);
    std::erase_if(m_toRemove, [](const Path &one)
                  { return ::rmdir(one.Text().c_str()) == 0 || errno == ENOENT; });
}

bool TaskGroups::KillEarlier()
{
    _CallEntry call("TaskGroups::KillEarlier", __FILE__, __LINE__);

    bool hasAny = false;
    std::error_code error;
    for (fs::directory_iterator entry(m_base.Text().c_str(), error), end; !error && entry != end;
         entry.increment(error))
    {
        if (!entry->path().filename().string().starts_with(m_prefix))
            continue;
        if (::rmdir(entry->path().c_str()) == 0)
            continue;
        Kill(Path(entry->path().string()));
        hasAny = true;
    }
    return !hasAny;
}

} // namespace master
