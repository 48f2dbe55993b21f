#pragma once

#include <functional>
#include <optional>
#include <string>
#include <sys/types.h>

namespace master
{

// A keeper ends all that its command has started. Where it is itself killed, what the command has
// started falls to this process, however it has detached itself, and is to be ended before a task
// runs again. This process knows it by what it is not: a child that it has started itself.

/// From then on whatever loses its parent below this process becomes its child. Children that are
/// there already are counted as its own.
void AdoptOrphans();

/// Runs `start`, which starts a child and gives its number, and notes the child as this process's
/// own. What `start` throws is passed on.
pid_t StartChild(const std::function<pid_t()> &start);

/// How a child of its own failed to end well, once it has ended; empty where it did end well.
/// Nothing where it is there yet.
std::optional<std::string> TryCollectChild(pid_t child);

/// Where a child of its own has not ended well: kills all children that are not its own, with all
/// that they have started, and collects what has ended. True where there are none; else it is to be
/// asked again in a moment. What the system does not let die, as in a share that hangs, stays.
bool KillOrphans();

} // namespace master
