#pragma once

#include <chrono>
#include <functional>

#include "master/jobs/Outbox.h"
#include "master/loop/Clock.h"
#include "master/requests/Dispatcher.h"
#include "master/run/SlowWork.h"
#include "master/schedule/Scheduler.h"

namespace master
{

/// Removes jobs that were over long enough, and what removed jobs have left on disk: a little at a
/// time, in turns of its own between those of the clients. The folder of a job stays until its last
/// command is gone; it may lie on a share, and one that hangs holds up the removal of such folders
/// alone. What a crash leaves undone is done after the next start. Loop thread.
class Retention
{
public:
    /// What it works on; all outlive it.
    struct Farm
    {
        JobStore &store;
        JobCache &cache;
        Dispatcher &dispatcher;
        const Scheduler &scheduler;
        const TaskLogs &logs;
        SlowWork &slowWork;
    };

    /// Sends what a turn of its own has come to, once that is on disk.
    using CarryOut = std::function<void(const Outbox &)>;

    /// `keepDays`: days that a job is kept once it is over; 0 keeps it. Begins at once.
    Retention(AlarmClock &clock, const Farm &farm, unsigned keepDays, CarryOut carryOut);

    /// Jobs may have been removed, or commands of removed jobs have ended.
    void Wake();
    /// It rests from now on.
    void Stop();

private:
    enum class Progress
    {
        Done,
        More,
    };

    void RunAfter(std::chrono::milliseconds pause);
    void Run();
    Progress RemoveOldJobs();
    void RemoveLeftovers();
    void RemoveLeftoversOf(const UID &job);
    void TakeRest(const UID &job, TaskLogs::Rest rest, const String &reason);

    AlarmClock &m_clock;
    const std::unique_ptr<Alarm> m_alarm;
    Farm m_farm;
    unsigned m_keepDays;
    CarryOut m_carryOut;
    bool m_isAwake = false;    // It runs again before long.
    bool m_isRemoving = false; // It does once that is done, too.
    bool m_isStopped = false;
};

} // namespace master
