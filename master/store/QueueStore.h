#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "ostrel/LoopThread.h"
#include "ostrel/String.h"
#include "ostrel/UID.h"

namespace master
{

using ostrel::LoopThread;
using ostrel::String;
using ostrel::UID;

class StoreDatabase;

/// The jobs that are queued or run and wait for no other: in the job store's database, by priority,
/// then by owner, then by age. An index has them in this order, so none of these looks at a job
/// that it does not tell, but for those of which all tasks are begun.
///
/// Every function may throw `StoreException *`. Loop thread.
class QueueStore
{
public:
    /// The database outlives it.
    explicit QueueStore(StoreDatabase &database) : m_database(database) {}

    /// The highest priority of such jobs that is less than this.
    std::optional<int> FindPriority(int below);
    /// Whose such jobs of a priority are, in ascending order; a job may have no owner.
    std::vector<String> ListOwners(int priority);

    struct Queued
    {
        UID job;
        std::int64_t number = 0; ///< `JobState::number`.
    };
    /// The oldest of an owner's such jobs of a priority that has a task to start and a larger
    /// number than this.
    std::optional<Queued> FindJob(int priority, const String &owner, std::int64_t after);

private:
    StoreDatabase &m_database;
    LoopThread m_thread;
};

} // namespace master
