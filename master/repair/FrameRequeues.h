#pragma once

#include <functional>

#include "check/BadFrames.h"
#include "master/jobs/JobCache.h"
#include "master/jobs/Outbox.h"

namespace master
{

/// Renders bad frames again, as a client does: by a new job, a copy of the other with their range,
/// marked with its origin. Loop thread.
class FrameRequeues
{
public:
    /// Gives the identifiers of new jobs.
    using MakeID = std::function<UID()>;

    FrameRequeues(JobStore &store, JobCache &cache, MakeID makeID);

    /// Keeps the job that renders the files of these numbers, and tells its followers. Its packets
    /// are as long as those of the other. It belongs to the same user, and its own frames are not
    /// looked at: the other job's are again. Nothing, with the reason, where no job can render
    /// them. Belongs inside a turn; may throw `StoreException *`.
    std::optional<UID> Requeue(const JobState &state,
                               const corvan::SequenceDistributor::Items &numbers, Outbox &outbox,
                               String *reason);

private:
    boost::shared_ptr<Job> MakeJob(const JobState &state,
                                   const corvan::SequenceDistributor::Items &numbers,
                                   String *reason) const;

    JobStore &m_store;
    JobCache &m_cache;
    MakeID m_makeID;
};

} // namespace master
