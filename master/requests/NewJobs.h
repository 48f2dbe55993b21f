#pragma once

#include "corvan/Messages.h"
#include "master/jobs/JobCache.h"
#include "master/requests/ClientRequest.h"
#include "master/requests/Dependences.h"
#include "master/store/JobStore.h"

namespace master
{

/// Takes the jobs that clients hand in. Loop thread.
class NewJobs
{
public:
    NewJobs(JobStore &store, JobCache &cache, Dependences &dependences);

    /// Keeps a job as its client's own, or refuses it with the reason. One that its owner sends
    /// again, unchanged, is accepted as the job that it is.
    void AddJob(const ClientRequest &request, const corvan::JobMsg &message);

private:
    bool IsSentAgain(const ClientRequest &request, const Job &job, const JobState &present);
    String CheckNewJob(const Job &job, JobState &state) const;

    JobStore &m_store;
    JobCache &m_cache;
    Dependences &m_dependences;
};

} // namespace master
