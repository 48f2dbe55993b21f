#pragma once

#include <string>

namespace master
{

/// Kills every other process of this user that was started with this in its environment
/// ("NAME=value"), and waits, two seconds at most, until they are gone. Tells how many there were.
///
/// Two commands must not write the same frame, and one whose keeper was killed may have survived.
int KillProcessesWith(const std::string &setting);

/// How many other processes with this name there are that were started with this in their
/// environment. Of no others is more asked than their name, which the system tells at once; for
/// the environment it may wait for the process.
int CountProcessesWith(const std::string &setting, const std::string &name);

} // namespace master
