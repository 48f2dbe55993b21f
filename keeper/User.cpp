#include "keeper/User.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <grp.h>
#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

namespace keeper
{

namespace
{

// They stay with a user who was not root before and is not after.
bool DropCapabilities()
{
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    const __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3] = {};
    // What is ambient may only be in the others too, so it goes with them.
    return ::syscall(SYS_capset, &header, none) == 0;
}

bool TakeOn(uid_t user, gid_t group, const std::vector<gid_t> &groups)
{
    return ::setgroups(groups.size(), groups.data()) == 0 &&
           ::setresgid(group, group, group) == 0 && ::setresuid(user, user, user) == 0 &&
           DropCapabilities() && ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0;
}

} // namespace

bool BecomeUser(const Request &request, std::string *reason)
{
    if (request.userId == 0)
        return true;
    std::vector<gid_t> groups;
    for (const std::string &group : request.groups)
        groups.push_back(gid_t(std::strtoul(group.c_str(), nullptr, 10)));
    const auto user = uid_t(request.userId);
    if (TakeOn(user, gid_t(request.groupId), groups))
    {
        // Who could come back has given up nothing.
        if (::setuid(0) != 0)
            return true;
        errno = EPERM;
    }
    *reason = "cannot become user " + std::to_string(user) + ": " + std::strerror(errno);
    return false;
}

} // namespace keeper
