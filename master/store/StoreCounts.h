#pragma once

#include <cstdint>
#include <map>
#include <optional>

#include "corvan/JobStatus.h"
#include "master/store/StoreException.h"
#include "ostrel/Path.h"
#include "ostrel/Time.h"

namespace master
{

using corvan::JobStatus;
using ostrel::Path;

/// How much there is in a job store.
struct StoreCounts
{
    using Counts = std::map<JobStatus, std::int64_t>;

    Counts jobs;
    /// Those that have not been started are queued, or what their job is: paused, cancelled,
    /// failed.
    Counts tasks;
    /// When the oldest of the jobs came that have a task to start, and wait for no other job.
    std::optional<ostrel::Time> oldestQueued;
};

/// Counts, also while a Master works with the store, over a connection of its own, which only reads
/// and holds nobody up. Takes time with the number of jobs, not with that of their tasks. Any
/// thread. Throws `StoreException *`.
StoreCounts CountStore(const Path &file);

} // namespace master
