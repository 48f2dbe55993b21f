#pragma once

#include <map>
#include <optional>
#include <set>
#include <vector>

#include "master/jobs/JobCache.h"
#include "master/jobs/Outbox.h"
#include "master/loop/Clock.h"
#include "master/run/CommandRunner.h"
#include "master/run/TaskLogs.h"
#include "master/schedule/JobPauses.h"
#include "master/schedule/OwnerShares.h"
#include "master/schedule/TaskLosses.h"
#include "master/schedule/TaskPauses.h"
#include "master/store/JobStore.h"
#include "ostrel/LoopThread.h"

namespace master
{

using ostrel::LoopThread;

/// How a run ended.
struct RunResult
{
    int run = 0;
    RunEnd end;
};

/// Gives the tasks of the jobs to the runner: the highest priority first, its owners in turn
/// (`FairQueue`), of each the oldest job, and its packets in the order of their numbers.
///
/// A task whose command fails is queued again until it failed `k_MaxFailures` times, each time
/// after a pause (`TaskPauses`); a job that has `k_FirstTasks` tasks fail before one is done is
/// paused. A command that cannot be started is no failure: its task is queued again, the job tells
/// why ("Waiting") and is tried again after a pause (`JobPauses`), with one task at first. A task
/// whose machine fails is no failure either, until that happens again and again (`TaskLosses`).
///
/// What is running is known in two places: in the store, for clients and for the next start, and
/// here, by the number of its run. The functions that take an outbox or `Plan` change the store and
/// belong inside a turn; the others act, and are called once that turn is on disk. Loop thread.
class Scheduler
{
public:
    static constexpr unsigned k_MaxFailures = 3;
    static constexpr int k_FirstTasks = 10;

    Scheduler(JobStore &store, JobCache &cache, const TaskLogs &logs, CommandRunner &runner,
              const Clock &clock, const Pauses &pauses = {});

    /// A command was started. True where the store is to know of it: `RecordStart`.
    bool NoteStart(int run);
    /// The job of the run goes on, and tells so.
    void RecordStart(int run, Outbox &outbox);
    /// Notes how a run ended: of the task, and of the job where that was its last.
    void Record(const RunResult &result, Outbox &outbox);
    /// The run is over and noted.
    void Forget(int run);

    /// Runs that an earlier Master has handed over go on: they are its own again. Belongs inside a
    /// turn, and before the first plan.
    void AdoptRuns(RunListener &listener);
    /// What keeps runs of a job from being begun has changed (`RunListener::OnQueued`). True where
    /// the store is to know of it: `RecordQueued`.
    bool NoteQueued(const UID &job, const String &why);
    void RecordQueued(const UID &job, const String &why, Outbox &outbox);
    /// Where the runs of a job are, by the numbers of their tasks.
    std::map<unsigned, RunPlace> PlacesOf(const UID &job) const;
    /// Of the job that runs, the status or the priority is another one.
    void TellRunner(const UID &job);
    /// Runs that have not begun are made anew.
    void RenewRuns(const UID &job);

    /// One command that is about to be started.
    struct Planned
    {
        UID job;
        unsigned task = 0;
        Command command;
        bool tellsStart = false; ///< Its job does not run yet, or waits.
        String owner;            ///< Of the job, as its priority.
        int priority = 0;
        unsigned frames = 1;
    };

    /// Marks as running what the free slots take, and tells what that is.
    std::vector<Planned> Plan(Outbox &outbox);
    /// Starts what was planned. What cannot be started is told to `failed` as a run that ended.
    void Start(const std::vector<Planned> &planned, RunListener &listener,
               std::vector<RunResult> &failed);

    /// No pause of the job counts any more, nor does what keeps a run from being started that was
    /// begun before: its task is tried again, and that one tells.
    void TryNow(const UID &job);
    /// A command that was started, and is not to end for another reason than its own.
    struct StartedRun
    {
        int run = 0;
        UID job;
        unsigned task = 0;
        unsigned frames = 1;
        Clock::Moment since;
        Path log;
    };
    std::vector<StartedRun> ListStarted() const;
    /// Ends a command, whose try has failed then, for this reason. Once; nothing happens for one
    /// that ends already.
    void FailRun(int run, const String &why);
    /// What is known of how a run ended, for whoever judges its machine: nothing where it was ended
    /// from outside, and where nobody knows its machine or it is no fault of it.
    struct NodeResult
    {
        String node;
        UID job;
        unsigned task = 0;
        bool hasFailed = false;
        String why;
    };
    std::optional<NodeResult> JudgeRun(const RunResult &result, const String &ownNode) const;
    /// How long a command has run; nothing where it is not known when it was started.
    std::optional<std::chrono::milliseconds> TimeOf(int run) const;

    /// When the next pause is over, and there may be something to plan; nothing where none is.
    std::optional<Clock::Moment> NextPauseEnd() const;

    /// Ends commands of a job. Nothing more of it is started before they are gone, so that two
    /// never write the same file; how they end does not count.
    void EndRuns(const RunsToEnd &runs);
    void EndAllRuns();

    bool HasRunsOf(const UID &job) const;
    bool HasRuns() const
    {
        return !m_runs.empty();
    }

private:
    struct Run
    {
        UID job;
        unsigned task = 0;
        bool isStarted = false;
        bool tellsStart = false;
        bool isEnding = false;
        unsigned frames = 1;
        Path log{};
        std::optional<Clock::Moment> started{}; // By this Master.
        String failure{};                       // Why it was ended and has failed.
        bool isOutdated = false;                // Somebody has wanted the job tried since.
    };

    // The batches that one plan makes, by job and offset.
    using Batches = std::map<std::pair<UID, unsigned>, UID>;

    bool Prepare(const JobState &state, const TaskState &task, Planned &planned, String *reason);
    void PutIntoBatch(const JobState &state, const TaskState &task, Batches &batches,
                      Planned &planned);
    void MarkRunning(JobState &state, TaskState &task);
    void RecordLost(JobState &state, TaskState &task, const RunEnd &end, Outbox &outbox);
    void Wait(JobState &state, const String &reason, Outbox &outbox);
    void QueueAgain(const JobState &state, TaskState &task);
    void RecordTrouble(JobState &state, const RunEnd &end, Outbox &outbox);
    void RecordTask(JobState &state, TaskState &task, const RunEnd &end, Outbox &outbox);
    static void RecordTime(JobState &state, const Run &run, const RunEnd &end);
    RunEnd EndOf(const RunResult &result, const Run &run) const;
    void RecordFailure(JobState &state, TaskState &task, Outbox &outbox);
    std::set<UID> JobsToPassOver() const;
    bool StartOne(const Planned &planned, RunListener &listener, String *reason);

    JobStore &m_store;
    JobCache &m_cache;
    const TaskLogs &m_logs;
    CommandRunner &m_runner;
    const Clock &m_clock;
    LoopThread m_thread;
    JobPauses m_jobPauses;
    TaskPauses m_taskPauses;
    TaskLosses m_losses;
    OwnerShares m_shares;
    std::map<int, Run> m_runs;
    std::size_t m_endingRuns = 0;
    std::set<UID> m_keptWaiting; // Jobs whose runs are kept from being begun.
    int m_lastRun = 0;
};

} // namespace master
