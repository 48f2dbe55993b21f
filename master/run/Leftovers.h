#pragma once

#include <string>

namespace master
{

/// Kills every other process of this user that was started with this in its environment
/// ("NAME=value"), and waits, two seconds at most, until they are gone. Tells how many there were.
///
/// Two commands must not write the same frame, and one whose keeper was killed may have survived.
int KillProcessesWith(const std::string &setting);

/// How many other processes of this user there are that were started with this in their
/// environment.
int CountProcessesWith(const std::string &setting);

} // namespace master
