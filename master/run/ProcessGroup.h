#pragma once

#include <sys/types.h>

#include "master/run/CommandRunner.h"

namespace master
{

/// A name and value in the environment of a command and of all that it starts.
struct ProcessMark
{
    std::string name;
    std::string value;
};

/// A command that was started as the leader of a process group of its own.
///
/// Ended, with all of its group, when this object goes. The leader is not collected before its
/// group is gone, so the group's number cannot be another's meanwhile.
class ProcessGroup
{
public:
    /// Starts the command. It reads nothing, prints to its log, and runs in its folder with the
    /// program's own environment and the mark. When the Master dies, the leader is killed. Throws
    /// `ostrel::ProcessException *` with the reason when it cannot be started.
    ProcessGroup(const Command &command, const ProcessMark &mark);
    ~ProcessGroup();
    ProcessGroup(const ProcessGroup &) = delete;
    ProcessGroup &operator=(const ProcessGroup &) = delete;

    /// A file descriptor of the caller's own that becomes readable when the leader has ended.
    int OpenExitEvent() const;

    void Signal(int signal) const;

    /// After the leader has ended: kills what is left of the group and collects the leader. Gives
    /// its exit code, or -1 when it was ended by a signal.
    int Collect();

private:
    pid_t m_leader = -1;
};

} // namespace master
