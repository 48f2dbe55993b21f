#pragma once

#include <span>

#include "corvan/Messages.h"
#include "master/Followers.h"
#include "master/JobCache.h"
#include "master/Outbox.h"
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
    /// Most tasks that `TaskList` holds; the list of a job with more is refused.
    static constexpr unsigned k_MaxListedTasks = 400'000;

    /// A list of jobs ends with the one that makes it longer than this; the rest is asked for anew.
    static constexpr std::size_t k_ListPartBytes = 256u << 10;

    Dispatcher(JobStore &store, JobCache &cache, Followers &followers, const TaskLogs &logs);

    /// Handles one message of one client. Throws `StoreException *` where the store refuses; the
    /// caller then undoes the step and answers.
    void Handle(ClientNumber client, const Message &message, Outbox &outbox);

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

    void ChangeParameter(const Request &request, const corvan::JobParameterMsg &message);
    String ChangeStatus(JobState &state, const String &value, Outbox &outbox);
    String ChangePlainParameter(JobState &state, const Job &job,
                                const corvan::JobParameterMsg &message, Outbox &outbox);
    void CutAnew(JobState &state, std::size_t packets, Outbox &outbox);
    void StartAnew(JobState &state, Outbox &outbox);

    JobStore &m_store;
    JobCache &m_cache;
    Followers &m_followers;
    const TaskLogs &m_logs;
    LoopThread m_thread;
};

} // namespace master
