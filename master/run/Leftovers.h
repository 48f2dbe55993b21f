#pragma once

#include <string>

namespace master
{

/// Kills every other process of this user that was started with this in its environment
/// ("NAME=value"), and waits, two seconds at most, until they are gone. Tells how many there were.
///
/// Commands outlive a Master that was killed, or some of what they started does. Two of them must
/// not write the same frame.
int KillProcessesWith(const std::string &setting);

} // namespace master
