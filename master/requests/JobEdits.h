#pragma once

#include "master/jobs/JobCache.h"
#include "master/requests/ClientRequest.h"
#include "master/requests/Dependences.h"
#include "master/requests/StatusRequest.h"
#include "master/store/JobStore.h"

namespace master
{

/// Changes jobs as their clients wish. Loop thread.
class JobEdits
{
public:
    using Setting = std::pair<String, String>;

    JobEdits(JobStore &store, JobCache &cache, Dependences &dependences);

    /// Changes these parameters of a job, or none of them with the reason.
    void ChangeParameters(const ClientRequest &request, const UID &job,
                          const std::vector<Setting> &wishes);

private:
    /// What is to become of a job.
    struct Change
    {
        JobState state;
        boost::shared_ptr<Job> job; ///< With its new parameters.
        std::vector<Setting> told;  ///< What changes but for the status, for the followers.
        bool changesJob = false;    ///< Parameters that `state` does not hold are among it.
        bool changesCommands = false;
        bool isStatusWished = false;
        StatusRequest request = StatusRequest::NothingToDo;
        std::vector<Packet> packets; ///< The new cut; empty where the old one stays.
    };

    String TakeWish(const Setting &wish, Change &change);
    String FinishChange(const Job &before, Change &change);
    void CarryOut(const Job &before, Change &change, Outbox &outbox);
    void ChangeStatus(JobState &state, StatusRequest request, Outbox &outbox);
    void StopWaiting(JobState &state, Outbox &outbox);
    void CutAnew(const Job &before, Change &change, Outbox &outbox);
    void StartAnew(JobState &state, Outbox &outbox);

    JobStore &m_store;
    JobCache &m_cache;
    Dependences &m_dependences;
};

} // namespace master
