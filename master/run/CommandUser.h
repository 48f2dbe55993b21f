#pragma once

#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

#include "ostrel/String.h"

namespace master
{

using ostrel::String;

/// The user that commands run as, where it is another than the Master's: then they can read nothing
/// that is the Master's alone.
struct CommandUser
{
    std::string name;
    uid_t id = 0;
    gid_t group = 0;
    std::vector<gid_t> groups; ///< All that the user is in.
    std::string home;
    std::string shell;
};

/// Looks one up by name. Nothing, with the reason, where there is none, where it is root or the
/// Master's own user, and where this process may not become, find or end the processes of another.
std::optional<CommandUser> FindCommandUser(const String &name, String *reason);

} // namespace master
