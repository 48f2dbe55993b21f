#pragma once

#include <span>

#include "corvan/Messages.h"
#include "master/Followers.h"
#include "master/JobCache.h"
#include "master/Outbox.h"
#include "master/StatusRequest.h"
#include "master/run/TaskLogs.h"
#include "master/store/JobStore.h"
#include "ostrel/LoopThread.h"

namespace master
{

using ostrel::LoopThread;

/// Carries out the requests of the clients.
///
/// Changes go to the store, inside the turn and step that the caller has opened; what is to be
/// answered and told goes to the outbox, for when they are on disk. Loop thread.
class Dispatcher
{
public:
    /// A list of jobs ends with the one that makes it longer than this; the rest is asked for anew.
    static constexpr std::size_t k_ListPartBytes = 256u << 10;
    /// Of the reasons why tasks failed, a list of tasks tells as many as fit here.
    static constexpr std::size_t k_ReasonBytes = 1u << 20;

    Dispatcher(JobStore &store, JobCache &cache, Followers &followers, const TaskLogs &logs);

    /// Handles one message of one client. Throws `StoreException *` where the store refuses; the
    /// caller then undoes the step and answers.
    void Handle(ClientNumber client, const Message &message, Outbox &outbox);

    /// Removes a job, and tells its followers. May throw `StoreException *`.
    void TakeAway(const JobState &state, Outbox &outbox);

private:
    /// Who asked, and where answers go.
    struct Request
    {
        ClientNumber client;
        const Message &message;
        Outbox &outbox;

        void Accept(const UID &job) const;
        void Refuse(const String &reason, const UID &job, const String &thing = {}) const;
        void Answer(boost::shared_ptr<Message> answer) const;
    };

    void Follow(const Request &request, const corvan::FollowJobMsg &message);
    void SendJobs(const Request &request, const corvan::GetJobInfoMsg &message);
    void SendJobList(const Request &request, const corvan::ListJobsMsg &message);
    void SendTasks(const Request &request, const corvan::GetTasksMsg &message);
    void SendTaskLog(const Request &request, const corvan::GetTaskLogMsg &message);

    void AddJob(const Request &request, const corvan::JobMsg &message);
    String CheckNewJob(const Job &job, JobState &state) const;
    void RemoveJob(const Request &request, const corvan::RemoveJobMsg &message);

    using Setting = std::pair<String, String>;

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

    void ChangeParameters(const Request &request, const UID &job,
                          const std::vector<Setting> &wishes);
    String TakeWish(const Setting &wish, Change &change);
    String FinishChange(const Job &before, Change &change);
    void CarryOut(const Job &before, Change &change, Outbox &outbox);
    void ChangeStatus(JobState &state, StatusRequest request, Outbox &outbox);
    void StopWaiting(JobState &state, Outbox &outbox);
    void CutAnew(const Job &before, Change &change, Outbox &outbox);
    void StartAnew(JobState &state, Outbox &outbox);

    JobStore &m_store;
    JobCache &m_cache;
    Followers &m_followers;
    const TaskLogs &m_logs;
    LoopThread m_thread;
};

} // namespace master
