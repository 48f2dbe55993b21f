#pragma once

#include <map>
#include <set>
#include <vector>

#include "master/JobCache.h"
#include "master/Outbox.h"
#include "master/run/CommandRunner.h"
#include "master/run/TaskLogs.h"
#include "master/store/JobStore.h"
#include "ostrel/LoopThread.h"

namespace master
{

using ostrel::LoopThread;

/// How a command ended.
struct RunResult
{
    int run = 0;
    int exitCode = 0;
};

/// Gives the tasks of the jobs to the runner: the highest priority first, then the oldest job,
/// its packets in ascending order.
///
/// A task whose command fails is queued again until it failed `k_MaxFailures` times. What is
/// running is known in two places: in the store, for clients and for the next start, and here, by
/// the number of its run. The functions that take an outbox or `Plan` change the store and belong
/// inside a turn; the others act, and are called once that turn is on disk. Loop thread.
class Scheduler
{
public:
    static constexpr unsigned k_MaxFailures = 3;

    Scheduler(JobStore &store, JobCache &cache, const TaskLogs &logs, CommandRunner &runner);

    /// Notes how a run ended: of the task, and of the job where that was its last.
    void Record(const RunResult &result, Outbox &outbox);
    /// The run is over and noted.
    void Forget(int run);

    /// One command that is about to be started.
    struct Planned
    {
        UID job;
        unsigned task = 0;
        std::int64_t log = 0; ///< Number of its log file.
        Command command;
        std::vector<Path> outputs; ///< What it writes first, of each image format.
        String reason;             ///< Why it cannot be started; empty where it can.
    };

    /// Marks as running what the free slots take, and tells what that is.
    std::vector<Planned> Plan(Outbox &outbox);
    /// Starts what was planned. What cannot be started is written to the task's log and told to
    /// `failed` as a run that ended.
    void Start(const std::vector<Planned> &planned, const CommandRunner::Finished &finished,
               std::vector<RunResult> &failed);

    /// Ends commands of a job. Nothing more of it is started before they are gone, so that two
    /// never write the same file; how they end does not count.
    void EndRuns(const RunsToEnd &runs);
    void EndAllRuns();

    bool HasRuns() const
    {
        return !m_runs.empty();
    }

private:
    struct Run
    {
        UID job;
        unsigned task = 0;
        bool isEnding = false;
    };

    Planned PlanTask(JobState &state, const TaskState &task, Outbox &outbox);
    void RecordTask(JobState &state, TaskState &task, int exitCode, Outbox &outbox);
    std::set<UID> JobsThatEnd() const;
    bool StartOne(const Planned &planned, const CommandRunner::Finished &finished, String *reason);

    JobStore &m_store;
    JobCache &m_cache;
    const TaskLogs &m_logs;
    CommandRunner &m_runner;
    LoopThread m_thread;
    std::map<int, Run> m_runs;
    int m_lastRun = 0;
};

} // namespace master
