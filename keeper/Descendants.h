#pragma once

#include <set>
#include <sys/types.h>
#include <vector>

namespace keeper
{

/// A process that this one, or one of its descendants, has started.
struct Descendant
{
    pid_t process = 0;
    pid_t parent = 0;
};

/// True where the system tells a process's children; without it none of what follows works.
bool CanListChildren();

/// All that there are now, those that have ended and are not collected yet included. What is
/// started meanwhile may be missing. Children of this process that are `passedOver` are left out,
/// with all that they have started.
std::vector<Descendant> ListDescendants(const std::set<pid_t> &passedOver = {});

/// Sends a signal where the process still is the one that was listed.
void SendSignal(const Descendant &descendant, int signal);

/// The memory that they have to themselves, in bytes; what several share by a fork counts for each.
long long MemoryOf(const std::vector<Descendant> &descendants);

} // namespace keeper
