#pragma once

#include <span>
#include <string>
#include <vector>

#include "master/run/PathRoots.h"

namespace master
{

/// The program that stands before a command whose paths have roots: it looks where they lead,
/// right before the command starts and as the user whom the command runs as. A disk that does not
/// answer holds up this one command alone.

/// The argument list that runs `command` once its paths are found to lie where they may.
std::vector<std::string> WithinCommand(std::span<const RootedPath> paths,
                                       const std::vector<std::string> &command);

constexpr int k_LeadsOut = 126;    ///< What it ends with for a path that leads out,
constexpr int k_CannotStart = 127; ///< and where the command cannot be started.

/// What it does, given its arguments without its own name: becomes the command, or says on standard
/// error why not and gives what to end with.
int RunWithin(std::span<const char *const> arguments);

} // namespace master
