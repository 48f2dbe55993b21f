#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "corvan/JobStatus.h"
#include "ostrel/LoopThread.h"
#include "ostrel/String.h"
#include "ostrel/UID.h"

namespace master
{

using corvan::JobStatus;
using ostrel::LoopThread;
using ostrel::String;
using ostrel::UID;

class StoreDatabase;
struct JobState;

/// Where a task was handed over to, of a Master that does not run its commands itself.
struct TaskPlace
{
    UID batch; ///< What it was handed over with, and as which element of it.
    unsigned element = 0;
    // Where it was, once it is over; for people.
    String node{};
    String number{};
    String state{};

    friend bool operator==(const TaskPlace &, const TaskPlace &) = default;
};

/// The places of the tasks' last tries, by the numbers of their logs: a task has the same one
/// however its job is cut. In the job store's database: changes belong to the store's turns.
///
/// Every function may throw `StoreException *`. Loop thread.
class PlaceStore
{
public:
    /// The database outlives it.
    explicit PlaceStore(StoreDatabase &database) : m_database(database) {}

    /// The task is about to be handed over.
    void Save(const JobState &state, std::int64_t log, const TaskPlace &place);
    /// Notes what is for people.
    void SaveEnd(const JobState &state, std::int64_t log, const TaskPlace &place);
    std::map<std::int64_t, TaskPlace> List(const JobState &state);

    /// A task that runs, as far as the store knows.
    struct Running
    {
        UID job;
        unsigned task = 0;
        JobStatus status = JobStatus::Running; ///< Of the job.
        int priority = 50;
        String owner;
        TaskPlace place;
    };
    /// All of them that have a place.
    std::vector<Running> ListRunning();

    bool HasAny();
    void Forget(const JobState &state);
    void ForgetAll();

private:
    StoreDatabase &m_database;
    LoopThread m_thread;
};

} // namespace master
