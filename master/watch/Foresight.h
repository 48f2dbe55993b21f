#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <vector>

#include "master/jobs/JobCache.h"
#include "master/jobs/Outbox.h"
#include "master/loop/Clock.h"
#include "master/loop/Pauses.h"
#include "master/run/LogLooks.h"
#include "master/schedule/Scheduler.h"
#include "master/watch/StuckRule.h"

namespace master
{

/// What can be seen coming of the jobs that run: when they end, and which of their tasks are stuck.
///
/// It looks now and then, and tells followers what has changed: that tasks are stuck at once, the
/// rest of a job at a bounded rate, and an expected end that is another one by little not at all.
/// All of it is worked out anew after a restart, from what the store knows of the frames' times.
/// Whether a log grows is judged by looking twice, never by what a clock says; the looks hold up
/// nobody. Loop thread.
class Foresight
{
public:
    /// `looks` is null where nobody looks at logs. The others outlive it.
    Foresight(JobStore &store, JobCache &cache, const Scheduler &scheduler, const Clock &clock,
              std::unique_ptr<LogLooks> looks, const ForesightPace &pace);

    /// A command that is to be ended, as its type wants it, and why.
    struct Ending
    {
        int run = 0;
        String why;
    };
    /// A job that has tasks which are stuck, and were not before.
    struct NewStuck
    {
        UID job;
        String why; ///< "task 7, it runs for 1:02:00, ..."; of the first of them.
    };
    struct Seen
    {
        std::vector<Ending> endings;
        std::vector<NewStuck> stuck;
    };
    /// Looks at all that runs. What there is to tell goes to `outbox`. Throws `StoreException *`.
    Seen Look(Outbox &outbox);
    /// Whether there is something to look at, or still to be told.
    bool HasMore() const;

    /// What is known of a job, for its parameters.
    void AddTo(const JobState &state, Job &job) const;
    /// Marks the tasks of a job that are stuck.
    void Mark(const UID &job, std::map<unsigned, RunPlace> &places) const;
    /// How many tasks of a job are stuck.
    std::size_t CountStuck(const UID &job) const;

private:
    using Told = std::map<String, String>;

    struct Followed
    {
        double slots = 0; // Lately.
        Clock::Moment sampled;
        unsigned tasksTotal = 0; // That `packetFrames` was worked out of.
        double packetFrames = 1;
        std::map<unsigned, String> stuck; // Why, by the tasks' numbers.
        std::optional<double> endsIn;     // Seconds from `sampled` on.
        double perHour = 0;
        Told told;
        std::optional<std::int64_t> toldEnd; // Seconds since 1970.
        Clock::Moment nextTelling;
    };
    // What is known of the log of a run.
    struct Log
    {
        LogLooks::Seen seen;
        Clock::Moment since; // It is as it was seen.
    };
    using Runs = std::vector<Scheduler::StartedRun>;

    void LookAtLogs(const std::map<UID, Runs> &runs);
    void TakeLogs();
    void FollowJob(const UID &id, const Runs &runs, Seen &seen, Outbox &outbox);
    void FollowSlots(Followed &job, std::size_t running);
    void FindStuck(const JobState &state, const Runs &runs, Followed &job, Seen &seen);
    void Estimate(const JobState &state, const Runs &runs, Followed &job);
    void Tell(const JobState &state, Followed &job, Outbox &outbox);
    std::optional<std::chrono::seconds> SilentFor(int run) const;

    JobStore &m_store;
    JobCache &m_cache;
    const Scheduler &m_scheduler;
    const Clock &m_clock;
    const std::unique_ptr<LogLooks> m_looks;
    const ForesightPace m_pace;
    std::map<UID, Followed> m_jobs;
    std::map<int, Log> m_logs;
    Clock::Moment m_nextLogs;
};

} // namespace master
