#include "master/run/CommandUser.h"

#include <grp.h>
#include <linux/capability.h>
#include <pwd.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace master
{

namespace
{

// Become another user, end what is his, and tell by its environment what an earlier run of the
// Master has left of his.
constexpr int k_needed[] = {CAP_SETUID, CAP_SETGID, CAP_KILL, CAP_SYS_PTRACE};

bool HasCapabilities()
{
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct sets[_LINUX_CAPABILITY_U32S_3] = {};
    if (::syscall(SYS_capget, &header, sets) != 0)
        return false;
    for (const int one : k_needed)
        if ((sets[CAP_TO_INDEX(one)].effective & CAP_TO_MASK(one)) == 0)
            return false;
    return true;
}

std::vector<gid_t> GroupsOf(const std::string &name, gid_t group)
{
    std::vector<gid_t> groups(64);
    auto count = int(groups.size());
    // Where there are more it tells how many.
    while (::getgrouplist(name.c_str(), group, groups.data(), &count) < 0)
        groups.resize(std::size_t(count));
    groups.resize(std::size_t(count));
    return groups;
}

} // namespace

std::optional<CommandUser> FindCommandUser(const String &name, String *reason)
{
    std::vector<char> room(16384);
    passwd entry{};
    passwd *found = nullptr;
    if (::getpwnam_r(name.c_str(), &entry, room.data(), room.size(), &found) != 0 || !found)
        *reason = "there is no such user";
    else if (found->pw_uid == 0)
        *reason = "root may do everything, and commands may not";
    else if (found->pw_uid == ::geteuid())
        *reason = "the Master itself runs as this user, so nothing would be kept from its commands";
    else if (!HasCapabilities())
        *reason = "the Master may not run commands as somebody else; it has to be root, or to have "
                  "CAP_SETUID, CAP_SETGID, CAP_KILL and CAP_SYS_PTRACE";
    else
        return CommandUser{found->pw_name, found->pw_uid,
                           found->pw_gid,  GroupsOf(found->pw_name, found->pw_gid),
                           found->pw_dir,  found->pw_shell};
    return std::nullopt;
}

} // namespace master
