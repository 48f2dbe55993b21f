#pragma once

#include <optional>
#include <string>
#include <vector>

#include "corvan/RunLimits.h"
#include "ostrel/Path.h"
#include "ostrel/UID.h"

namespace master
{

using ostrel::Path;
using ostrel::String;
using ostrel::UID;

/// Control groups of the tasks, one for each run, beneath a group that was handed over to this
/// Master, as a service with "Delegate=yes" has it. A process is in a group whatever it does to
/// its parents, its session and its environment, and the system ends a group as a whole. They stand
/// beside the keepers, which do the same where there are no groups. Loop thread.
class TaskGroups
{
public:
    /// The group that this process is in, where that one was handed over to it and can be written
    /// to; nothing elsewhere.
    static std::optional<Path> FindOwn();

    /// Where the group of a process is, by what `/proc` tells of it in "cgroup" and "mountinfo";
    /// nothing where it is in none of the second version.
    static std::optional<Path> FolderOf(const std::string &cgroup, const std::string &mountinfo);

    /// This process goes from `base` into a group beneath it, since a group that has processes
    /// hands nothing on.
    TaskGroups(Path base, const UID &master);

    /// A new group that holds memory and processors to these limits, as far as this group may hand
    /// them on. Nothing where it cannot be made, which is logged.
    std::optional<Path> Make(const corvan::RunLimits &limits);

    /// Whether groups are held to a number of processors.
    bool LimitsProcessors() const
    {
        return m_limitsProcessors;
    }

    /// Kills all that is in a group.
    static void Kill(const Path &group);

    /// Removes a group that has nothing in it; where something is, it is tried with the next ones.
    void Remove(const Path &group);

    /// Kills what is in groups of an earlier run of this Master, and removes them. True where there
    /// are none; else it is to be asked again in a moment.
    bool KillEarlier();

private:
    bool HandOn(const char *controller, const char *what) const;

    Path m_base;
    String m_prefix; // Of the names of this Master's groups.
    bool m_limitsMemory = false;
    bool m_limitsProcessors = false;
    std::vector<Path> m_toRemove;
};

} // namespace master
