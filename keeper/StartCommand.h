#pragma once

#include <string>
#include <sys/types.h>

#include "keeper/Group.h"
#include "keeper/Request.h"

namespace keeper
{

/// A command that has been started.
struct Command
{
    pid_t process = -1;
    int output = -1; ///< Gives what it prints; the caller's to close.
};

/// Starts the command of a request in a session of its own. It reads nothing, has no other open
/// file, and the usual signals, is in `group` where it can be, and may have as many files open as
/// the request says. False, with the reason, where it cannot be started: nothing of it is left
/// then.
bool StartCommand(const Request &request, const Group &group, Command &command,
                  std::string *reason);

} // namespace keeper
