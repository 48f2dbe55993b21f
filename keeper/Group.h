#pragma once

#include <string>

namespace keeper
{

// The control group of a command, by its folder; empty where it is in none.

/// Kills all that is in it at once, also what is being started meanwhile. False where the system
/// does not take that; then it has to be killed one by one.
bool KillGroup(const std::string &group);

/// Whether the system has ended something in it since it had more memory than it may.
bool HadTooMuchMemory(const std::string &group);

} // namespace keeper
