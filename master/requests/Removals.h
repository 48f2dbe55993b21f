#pragma once

#include "corvan/Messages.h"
#include "master/jobs/JobCache.h"
#include "master/requests/ClientRequest.h"
#include "master/requests/Dependences.h"
#include "master/store/JobStore.h"

namespace master
{

/// Removes jobs. What they leave on disk is removed later: see Retention.h. Loop thread.
class Removals
{
public:
    Removals(JobStore &store, JobCache &cache, Dependences &dependences);

    /// Removes the job that a client names, or refuses it with the reason.
    void RemoveJob(const ClientRequest &request, const corvan::RemoveJobMsg &message);

    /// Removes a job, and tells its followers.
    void TakeAway(const JobState &state, Outbox &outbox);

private:
    JobStore &m_store;
    JobCache &m_cache;
    Dependences &m_dependences;
};

} // namespace master
