#include "keeper/Group.h"

#include <cstdio>
#include <fcntl.h>
#include <string_view>
#include <unistd.h>

namespace keeper
{

bool KillGroup(const std::string &group)
{
    if (group.empty())
        return false;
    // Its files are there or cannot be made.
    const int file = ::open((group + "/cgroup.kill").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    if (file < 0)
        return false;
    const bool isKilled = ::write(file, "1", 1) == 1;
    ::close(file);
    return isKilled;
}

bool HadTooMuchMemory(const std::string &group)
{
    if (group.empty())
        return false;
    std::FILE *const events = std::fopen((group + "/memory.events").c_str(), "re");
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

} // namespace keeper
