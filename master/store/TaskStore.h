#pragma once

#include <optional>
#include <vector>

#include "corvan/JobStatus.h"
#include "ostrel/LoopThread.h"

namespace master
{

using corvan::JobStatus;
using ostrel::LoopThread;

class StoreDatabase;
struct JobState;

/// A task that was started once. One that was not has no record and is queued.
struct TaskState
{
    unsigned index = 0;
    JobStatus status = JobStatus::Queued;
    unsigned tries = 0;    ///< How often it was started.
    unsigned failures = 0; ///< How often its command failed.
    int exitCode = 0;      ///< Of the last try that ended by itself.
};

/// The tasks of the jobs, in the job store's database: changes belong to the store's turns.
///
/// Every function may throw `StoreException *`. Loop thread.
class TaskStore
{
public:
    /// The database outlives it.
    explicit TaskStore(StoreDatabase &database);

    /// The first task of the job that is to be started (again).
    std::optional<TaskState> FindNext(const JobState &state);
    std::optional<TaskState> Find(const JobState &state, unsigned index);
    /// All that were started once, in ascending order.
    std::vector<TaskState> List(const JobState &state);
    void Save(const JobState &state, const TaskState &task);
    /// Nothing of the job was started any more.
    void Forget(const JobState &state);
    /// The job's running tasks get another status.
    void SetRunning(const JobState &state, JobStatus status);
    /// All running tasks of all jobs are queued again; tells how many.
    int RequeueRunning();

private:
    StoreDatabase &m_database;
    LoopThread m_thread;
};

} // namespace master
