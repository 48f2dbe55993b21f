#include "master/Dispatcher.h"

#include <boost/make_shared.hpp>
#include <cassert>
#include <cstdlib>

#include "corvan/JobType.h"
#include "corvan/Limits.h"
#include "corvan/Parameters.h"
#include "master/StatusRequest.h"
#include "master/run/RenderCommand.h"
#include "ostrel/CallEntry.h"
#include "ostrel/Log.h"

namespace master
{

using ostrel::_CallEntry;

namespace
{

const char *const k_no_such_job = "there is no such job";

// Set by the Master alone.
bool IsMastersOwn(const String &name)
{
    return name == corvan::p_Created || name == corvan::p_TasksTotal ||
           name == corvan::p_TasksDone || name == corvan::p_TasksFailed;
}

int Number(const String &text)
{
    return int(std::strtol(text.c_str(), nullptr, 10));
}

std::size_t SizeBytes(const Job &job)
{
    // Identifiers, and the lengths of the fields.
    std::size_t bytes = 100;
    for (const auto &[name, value] : job.Parameters())
        bytes += name.size() + value.size() + 16;
    return bytes;
}

corvan::TaskInfo QueuedTask(unsigned index, const Packet &packet)
{
    corvan::TaskInfo info;
    info.index = index;
    info.firstFrame = packet.firstFrame;
    info.lastFrame = packet.lastFrame;
    return info;
}

void ReadTask(const TaskState &task, corvan::TaskInfo &info)
{
    info.status = task.status;
    info.tries = task.tries;
    info.exitCode = task.exitCode;
}

} // namespace

void Dispatcher::Request::Accept(const UID &job) const
{
    _CallEntry call("Dispatcher::Request::Accept", __FILE__, __LINE__);

    outbox.Accept(client, message.serial, job);
}

void Dispatcher::Request::Refuse(const String &reason, const UID &job, const String &thing) const
{
    _CallEntry call("Dispatcher::Request::Refuse", __FILE__, __LINE__);

    String what = message.TypeName();
    if (!thing.empty())
        what += " " + thing;
    ostrel::LogInfo("refused " + what + " of client " + std::to_string(client) + ": " + reason);
    outbox.Refuse(client, message.serial, what, reason, job);
}

void Dispatcher::Request::Answer(boost::shared_ptr<Message> answer) const
{
    _CallEntry call("Dispatcher::Request::Answer", __FILE__, __LINE__);

    outbox.Answer(client, message.serial, std::move(answer));
}

Dispatcher::Dispatcher(JobStore &store, JobCache &cache, Followers &followers, const TaskLogs &logs)
    : m_store(store), m_cache(cache), m_followers(followers), m_logs(logs)
{
    _CallEntry call("Dispatcher::Dispatcher", __FILE__, __LINE__);
}

void Dispatcher::Handle(ClientNumber client, const Message &message, Outbox &outbox)
{
    _CallEntry call("Dispatcher::Handle", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    const Request request{client, message, outbox};
    if (const auto *follow = dynamic_cast<const corvan::FollowJobMsg *>(&message))
        Follow(request, *follow);
    else if (const auto *jobs = dynamic_cast<const corvan::GetJobInfoMsg *>(&message))
        SendJobs(request, *jobs);
    else if (const auto *parameter = dynamic_cast<const corvan::JobParameterMsg *>(&message))
        ChangeParameter(request, *parameter);
    else if (const auto *job = dynamic_cast<const corvan::JobMsg *>(&message))
        AddJob(request, *job);
    else if (const auto *list = dynamic_cast<const corvan::ListJobsMsg *>(&message))
        SendJobList(request, *list);
    else if (const auto *tasks = dynamic_cast<const corvan::GetTasksMsg *>(&message))
        SendTasks(request, *tasks);
    else if (const auto *log = dynamic_cast<const corvan::GetTaskLogMsg *>(&message))
        SendTaskLog(request, *log);
    else
        request.Refuse("the Master does not take this message", UID());
}

void Dispatcher::Follow(const Request &request, const corvan::FollowJobMsg &message)
{
    _CallEntry call("Dispatcher::Follow", __FILE__, __LINE__);

    if (m_followers.Follow(request.client, message.jobs))
        request.Accept(message.jobs.size() == 1 ? message.jobs.front() : UID());
    else
        request.Refuse("more than " + std::to_string(Followers::k_MaxJobs) + " jobs", UID());
}

void Dispatcher::SendJobs(const Request &request, const corvan::GetJobInfoMsg &message)
{
    _CallEntry call("Dispatcher::SendJobs", __FILE__, __LINE__);

    std::size_t bytes = 0;
    for (const UID &id : message.jobs)
    {
        if (bytes > corvan::k_MaxMessageBytes)
        {
            request.Refuse("the jobs before it fill an answer; ask for it again", id,
                           id.ToString());
            continue;
        }
        const std::optional<JobState> state = m_store.FindState(id);
        String reason = k_no_such_job;
        auto answer = boost::make_shared<corvan::JobMsg>();
        if (state)
            answer->job = m_cache.Whole(*state, &reason);
        if (!answer->job)
        {
            request.Refuse(reason, id, id.ToString());
            continue;
        }
        bytes += SizeBytes(*answer->job);
        request.Answer(answer);
    }
}

void Dispatcher::SendJobList(const Request &request, const corvan::ListJobsMsg &message)
{
    _CallEntry call("Dispatcher::SendJobList", __FILE__, __LINE__);

    std::int64_t number = JobStore::k_BeyondNewest;
    if (!message.before.IsNil())
    {
        const std::optional<JobState> before = m_store.FindState(message.before);
        if (!before)
            return request.Refuse(k_no_such_job, message.before, message.before.ToString());
        number = before->number;
    }

    auto answer = boost::make_shared<corvan::JobListMsg>();
    std::size_t bytes = 0;
    UID last;
    while (message.limit == 0 || answer->jobs.size() < message.limit)
    {
        const std::optional<JobState> state = m_store.FindOlder(number);
        if (!state)
            break;
        if (bytes > k_ListPartBytes)
        {
            answer->restBefore = last;
            break;
        }
        String unreadable;
        if (boost::shared_ptr<Job> job = m_cache.Whole(*state, &unreadable))
        {
            bytes += SizeBytes(*job);
            answer->jobs.push_back(std::move(job));
        }
        number = state->number;
        last = state->id;
    }
    request.Answer(answer);
}

void Dispatcher::SendTasks(const Request &request, const corvan::GetTasksMsg &message)
{
    _CallEntry call("Dispatcher::SendTasks", __FILE__, __LINE__);

    const std::optional<JobState> state = m_store.FindState(message.job);
    if (!state)
        return request.Refuse(k_no_such_job, message.job, message.job.ToString());
    if (state->tasksTotal > k_MaxListedTasks)
        return request.Refuse("the job has " + std::to_string(state->tasksTotal) +
                                  " tasks, more than a message can hold",
                              message.job, message.job.ToString());

    auto answer = boost::make_shared<corvan::TaskListMsg>();
    answer->job = message.job;
    for (const Packet &packet : m_cache.GetCut(message.job)->packets)
        answer->tasks.push_back(QueuedTask(unsigned(answer->tasks.size()), packet));
    for (const TaskState &task : m_store.Tasks().List(*state))
        if (task.index < answer->tasks.size())
            ReadTask(task, answer->tasks[task.index]);
    if (state->status == JobStatus::Cancelled)
        for (corvan::TaskInfo &task : answer->tasks)
            if (task.status == JobStatus::Queued)
                task.status = JobStatus::Cancelled;
    request.Answer(answer);
}

void Dispatcher::SendTaskLog(const Request &request, const corvan::GetTaskLogMsg &message)
{
    _CallEntry call("Dispatcher::SendTaskLog", __FILE__, __LINE__);

    const std::optional<JobState> state = m_store.FindState(message.job);
    if (!state)
        return request.Refuse(k_no_such_job, message.job, message.job.ToString());
    if (message.task >= state->tasksTotal)
        return request.Refuse("the job has no task " + std::to_string(message.task), message.job,
                              message.job.ToString());

    auto answer = boost::make_shared<corvan::TaskLogMsg>();
    answer->job = message.job;
    answer->task = message.task;
    answer->text = m_logs.ReadTail(message.job, message.task);
    request.Answer(answer);
}

void Dispatcher::AddJob(const Request &request, const corvan::JobMsg &message)
{
    _CallEntry call("Dispatcher::AddJob", __FILE__, __LINE__);

    const Job &job = *message.job;
    JobState state;
    const String reason = CheckNewJob(job, state);
    if (!reason.empty())
        return request.Refuse(reason, job.ID(), job.ID().ToString());

    m_store.Add(job, state);
    ostrel::LogStatus("new job " + job.ID().ToString() + " \"" + job.Name() + "\", " +
                      std::to_string(state.tasksTotal) + " tasks");
    request.Accept(job.ID());

    String unreadable;
    auto news = boost::make_shared<corvan::JobMsg>();
    news->job = m_cache.Whole(state, &unreadable);
    if (news->job)
        request.outbox.TellJob(job.ID(), news);
}

// Fills in the state of a new job, or tells why it cannot be taken.
String Dispatcher::CheckNewJob(const Job &job, JobState &state) const
{
    _CallEntry call("Dispatcher::CheckNewJob", __FILE__, __LINE__);

    if (job.ID().IsNil())
        return "the job has no identifier";
    if (m_store.FindState(job.ID()))
        return "a job with this identifier exists already";

    String reason;
    const std::vector<Packet> packets = CutPackets(job, &reason);
    if (packets.empty())
        return reason;

    state.id = job.ID();
    state.created = ostrel::Time::Now();
    state.tasksTotal = unsigned(packets.size());
    const String priority = job.ParameterText(corvan::p_Priority, true);
    if (!priority.empty())
        state.priority = Number(priority);
    if (job.ParameterText(corvan::p_Status, true) == std::to_string(int(JobStatus::Paused)))
        state.status = JobStatus::Paused;
    // What waits may still be completed; what would run at once and cannot is better refused now.
    else if (!BuildRenderCommand(job, packets.front(), packets.front().firstFrame, &reason))
        return reason;
    return {};
}

void Dispatcher::ChangeParameter(const Request &request, const corvan::JobParameterMsg &message)
{
    _CallEntry call("Dispatcher::ChangeParameter", __FILE__, __LINE__);

    std::optional<JobState> state = m_store.FindState(message.job);
    if (!state)
        return request.Refuse(k_no_such_job, message.job, message.name);
    if (IsMastersOwn(message.name))
        return request.Refuse("the Master alone sets it", message.job, message.name);
    const std::shared_ptr<const JobCache::Entry> entry = m_cache.Get(message.job);
    if (!entry->job)
        return request.Refuse(entry->reason, message.job, message.name);
    String reason = entry->job->CheckParameter(message.name, message.value);

    Outbox news;
    if (reason.empty())
        reason = message.name == corvan::p_Status
                     ? ChangeStatus(*state, message.value, news)
                     : ChangePlainParameter(*state, *entry->job, message, news);
    if (!reason.empty())
        return request.Refuse(reason, message.job, message.name);
    m_store.SaveState(*state);
    request.Accept(message.job);
    request.outbox.Append(std::move(news));
}

String Dispatcher::ChangeStatus(JobState &state, const String &value, Outbox &outbox)
{
    _CallEntry call("Dispatcher::ChangeStatus", __FILE__, __LINE__);

    String reason;
    switch (DecideStatusRequest(state.status, JobStatus(Number(value)), &reason))
    {
    case StatusRequest::NothingToDo:
        break;
    case StatusRequest::Pause:
        state.status = JobStatus::Paused;
        break;
    case StatusRequest::Resume:
        state.status = state.nextTask > 0 ? JobStatus::Running : JobStatus::Queued;
        break;
    case StatusRequest::Cancel:
        state.status = JobStatus::Cancelled;
        m_store.Tasks().SetRunning(state, JobStatus::Cancelled);
        outbox.EndRuns(state.id);
        break;
    case StatusRequest::RunAgain:
        state.status = JobStatus::Queued;
        StartAnew(state, outbox);
        break;
    case StatusRequest::Refuse:
        return reason;
    }
    outbox.Tell(state.id, corvan::p_Status, std::to_string(int(state.status)));
    return {};
}

String Dispatcher::ChangePlainParameter(JobState &state, const Job &job,
                                        const corvan::JobParameterMsg &message, Outbox &outbox)
{
    _CallEntry call("Dispatcher::ChangePlainParameter", __FILE__, __LINE__);

    outbox.Tell(state.id, message.name, message.value);
    if (message.name == corvan::p_Priority)
    {
        state.priority = Number(message.value);
        return {};
    }

    const boost::shared_ptr<Job> changed = CopyOf(job);
    changed->SetParameter(message.name, message.value);
    const bool cuts = message.name == corvan::p_Range || message.name == corvan::p_PacketSize;
    if (cuts && job.ParameterText(message.name, true) != changed->ParameterText(message.name, true))
    {
        String reason;
        const std::vector<Packet> packets = CutPackets(*changed, &reason);
        if (packets.empty())
            return reason;
        CutAnew(state, packets.size(), outbox);
    }
    m_store.SaveParameters(*changed, state);
    m_cache.Forget(state.id);
    return {};
}

void Dispatcher::CutAnew(JobState &state, std::size_t packets, Outbox &outbox)
{
    _CallEntry call("Dispatcher::CutAnew", __FILE__, __LINE__);

    outbox.EndRuns(state.id);
    state.tasksTotal = unsigned(packets);
    outbox.Tell(state.id, corvan::p_TasksTotal, std::to_string(packets));
    if (state.status == JobStatus::Running)
    {
        state.status = JobStatus::Queued;
        outbox.Tell(state.id, corvan::p_Status, std::to_string(int(state.status)));
    }
    StartAnew(state, outbox);
}

void Dispatcher::StartAnew(JobState &state, Outbox &outbox)
{
    _CallEntry call("Dispatcher::StartAnew", __FILE__, __LINE__);

    m_store.Tasks().Forget(state);
    state.tasksDone = 0;
    state.tasksFailed = 0;
    state.nextTask = 0;
    outbox.Tell(state.id, corvan::p_TasksDone, "0");
    outbox.Tell(state.id, corvan::p_TasksFailed, "0");
}

} // namespace master
