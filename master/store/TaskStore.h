#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <vector>

#include "corvan/JobStatus.h"
#include "ostrel/LoopThread.h"
#include "ostrel/String.h"

namespace master
{

using corvan::JobStatus;
using ostrel::LoopThread;
using ostrel::String;

class StoreDatabase;
struct JobState;

/// A task that was started once, or that has nothing left to render. Any other has no record and is
/// queued.
struct TaskState
{
    unsigned index = 0;
    JobStatus status = JobStatus::Queued;
    unsigned tries = 0;    ///< How often it was started.
    unsigned failures = 0; ///< How often its command failed.
    int exitCode = 0;      ///< Of the last try that ended by itself.
    String reason{};       ///< Why that try failed, where the exit code does not tell.
    std::int64_t log = -1; ///< Number of its log file; negative for `JobState::logBase` + `index`.

    friend bool operator==(const TaskState &, const TaskState &) = default;
};

/// The tasks of the jobs, in the job store's database: changes belong to the store's turns.
///
/// Every function may throw `StoreException *`. Loop thread.
class TaskStore
{
public:
    /// The database outlives it.
    explicit TaskStore(StoreDatabase &database);

    /// The first task of the job that is to be started (again). Those in `passOver` are passed
    /// over.
    std::optional<TaskState> FindNext(const JobState &state,
                                      const std::set<unsigned> &passOver = {});
    std::optional<TaskState> Find(const JobState &state, unsigned index);
    /// All that have a record, in ascending order.
    std::vector<TaskState> List(const JobState &state);
    bool HasAny(const JobState &state);
    /// The first number from `from` on that no task with a record has.
    unsigned FindUntouched(const JobState &state, unsigned from);
    void Save(const JobState &state, const TaskState &task);
    /// `after` is all records of the job from now on, in ascending order. `before` is what `List`
    /// gives, and `state` tells what its logs are called. What stays, but for the number of its
    /// log, is not written again, and neighbours that are alike are written at once: a job may have
    /// hundreds of thousands.
    void Replace(const JobState &state, std::vector<TaskState> before,
                 const std::vector<TaskState> &after);
    /// The job is over: its records take less room from now on. They tell the same as before.
    void Pack(const JobState &state);
    /// Nothing of the job was started any more.
    void Forget(const JobState &state);
    /// The job's running tasks get another status.
    void SetRunning(const JobState &state, JobStatus status);
    /// All running tasks of all jobs are queued again, or those alone that have no place in
    /// `PlaceStore`; tells how many.
    enum class Requeue
    {
        All,
        WithoutPlace,
    };
    int RequeueRunning(Requeue which = Requeue::All);

private:
    void NameLogs(const JobState &state, std::vector<TaskState> &tasks);
    void ForgetBetween(const JobState &state, std::int64_t first, std::int64_t last);
    void Unpack(const JobState &state);
    void SaveRun(const JobState &state, const TaskState &first, unsigned count);

    StoreDatabase &m_database;
    LoopThread m_thread;
};

} // namespace master
