#include "master/Dispatcher.h"

#include <boost/make_shared.hpp>
#include <cassert>
#include <cstdlib>

#include "analysis/SettingCheck.h"
#include "corvan/JobType.h"
#include "corvan/Limits.h"
#include "corvan/Parameters.h"
#include "master/Recut.h"
#include "master/Submission.h"
#include "master/run/RenderCommand.h"
#include "ostrel/CallEntry.h"
#include "ostrel/Log.h"

namespace master
{

using ostrel::_CallEntry;

namespace
{

const char *const k_no_such_job = "there is no such job";
const char *const k_other_job = "a job with this identifier exists already, and it is another one";

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

// What a new job says of the parameters that the Master sets is passed over.
String CheckNewParameter(const Job &job, const String &name, const String &value)
{
    if (corvan::IsMasterParameter(name) || name == corvan::p_Status)
        return {};
    return analysis::CheckSetting(job, name, value);
}

// What no render command depends on.
bool IsForPeople(const String &name)
{
    return name == corvan::p_Name || name == corvan::p_Note || name == corvan::p_CustomRange ||
           name == corvan::p_UserRange;
}

bool CutsOtherwise(const Job &job, const Job &other)
{
    return job.ParameterText(corvan::p_Range, true) != other.ParameterText(corvan::p_Range, true) ||
           job.ParameterText(corvan::p_PacketSize, true) !=
               other.ParameterText(corvan::p_PacketSize, true);
}

corvan::TaskInfo QueuedTask(unsigned index, const Packet &packet)
{
    corvan::TaskInfo info;
    info.index = index;
    info.firstFrame = packet.firstFrame;
    info.lastFrame = packet.lastFrame;
    return info;
}

void TellCounts(const JobState &state, Outbox &outbox)
{
    outbox.Tell(state.id, corvan::p_TasksDone, std::to_string(state.tasksDone));
    outbox.Tell(state.id, corvan::p_TasksFailed, std::to_string(state.tasksFailed));
}

// What a job is that was cut anew, its counts taken anew.
JobStatus StatusOfRecut(const JobState &state, bool hasBegun)
{
    if (state.status == JobStatus::Cancelled)
        return state.status;
    if (state.tasksDone + state.tasksFailed == state.tasksTotal)
        return state.tasksFailed == 0 ? JobStatus::Done : JobStatus::Failed;
    if (state.status == JobStatus::Paused)
        return state.status;
    return state.status == JobStatus::Running && hasBegun ? JobStatus::Running : JobStatus::Queued;
}

bool CanRender(const Job &job, const std::vector<Packet> &packets, String *reason)
{
    if (packets.empty())
        *reason = "there is nothing to render";
    return !packets.empty() &&
           BuildRenderCommand(job, packets.front(), packets.front().firstFrame, reason);
}

// Reasons have so much room in all: a list of tasks may fill a message as it is.
void ReadTask(const TaskState &task, corvan::TaskInfo &info, std::size_t &reasonBytes)
{
    info.status = task.status;
    info.tries = task.tries;
    info.exitCode = task.exitCode;
    if (task.reason.size() <= reasonBytes)
    {
        info.reason = task.reason;
        reasonBytes -= task.reason.size();
    }
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
    // The libraries' reasons begin with the parameter, too.
    const bool isNamed = !thing.empty() && reason.starts_with(thing + ": ");
    const String why = isNamed ? String(reason.substr(thing.size() + 2)) : reason;
    ostrel::LogInfo("refused " + what + " of client " + std::to_string(client) + ": " + why);
    outbox.Refuse(client, message.serial, what, why, job);
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
        ChangeParameters(request, parameter->job, {{parameter->name, parameter->value}});
    else if (const auto *parameters = dynamic_cast<const corvan::JobParametersMsg *>(&message))
        ChangeParameters(request, parameters->job, parameters->parameters);
    else if (const auto *job = dynamic_cast<const corvan::JobMsg *>(&message))
        AddJob(request, *job);
    else if (const auto *removal = dynamic_cast<const corvan::RemoveJobMsg *>(&message))
        RemoveJob(request, *removal);
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
    if (state->tasksTotal > corvan::k_MaxTasks)
        return request.Refuse("the job has " + std::to_string(state->tasksTotal) +
                                  " tasks, more than a message can hold",
                              message.job, message.job.ToString());

    auto answer = boost::make_shared<corvan::TaskListMsg>();
    answer->job = message.job;
    for (const Packet &packet : m_cache.GetCut(message.job)->packets)
        answer->tasks.push_back(QueuedTask(unsigned(answer->tasks.size()), packet));
    std::size_t reasonBytes = k_ReasonBytes;
    for (const TaskState &task : m_store.Tasks().List(*state))
        if (task.index < answer->tasks.size())
            ReadTask(task, answer->tasks[task.index], reasonBytes);
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
    const TaskState task =
        m_store.Tasks().Find(*state, message.task).value_or(TaskState{.index = message.task});
    if (message.attempt > task.tries)
        return request.Refuse("task " + std::to_string(message.task) + " was tried " +
                                  std::to_string(task.tries) + " times",
                              message.job, message.job.ToString());
    answer->attempt = message.attempt == 0 ? task.tries : message.attempt;
    answer->text = m_logs.ReadTail(message.job, LogNumber(*state, task), answer->attempt,
                                   answer->attempt == task.tries);
    request.Answer(answer);
}

void Dispatcher::AddJob(const Request &request, const corvan::JobMsg &message)
{
    _CallEntry call("Dispatcher::AddJob", __FILE__, __LINE__);

    const Job &job = *message.job;
    const std::optional<JobState> present = m_store.FindState(job.ID());
    if (present && present->submitted == NameSubmission(job))
    {
        ostrel::LogInfo("job " + job.ID().ToString() + " was sent again");
        return request.Accept(job.ID());
    }
    JobState state;
    const String reason = present ? k_other_job : CheckNewJob(job, state);
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
    if (m_store.IsRemoved(job.ID()))
        return "a job with this identifier was just removed";

    for (const auto &[name, value] : job.Parameters())
        if (String reason = CheckNewParameter(job, name, value); !reason.empty())
            return reason;

    String reason;
    const std::vector<Packet> packets = CutPackets(job, &reason);
    if (packets.empty())
        return reason;

    state.id = job.ID();
    state.created = ostrel::Time::Now();
    state.submitted = NameSubmission(job);
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

void Dispatcher::RemoveJob(const Request &request, const corvan::RemoveJobMsg &message)
{
    _CallEntry call("Dispatcher::RemoveJob", __FILE__, __LINE__);

    const std::optional<JobState> state = m_store.FindState(message.job);
    if (!state)
        return request.Refuse(k_no_such_job, message.job, message.job.ToString());
    if (!corvan::IsOver(state->status) && !message.cancel)
        return request.Refuse(
            String("the job is ") + corvan::StatusName(state->status) +
                ", and removing one that is not over cancels it: ask for that too",
            message.job, message.job.ToString());
    request.Accept(message.job);
    TakeAway(*state, request.outbox);
}

void Dispatcher::TakeAway(const JobState &state, Outbox &outbox)
{
    _CallEntry call("Dispatcher::TakeAway", __FILE__, __LINE__);

    m_store.Remove(state);
    m_cache.Forget(state.id);
    // Commands of a job that was just cancelled may still be there.
    outbox.EndRuns(state.id);
    const auto news = boost::make_shared<corvan::JobRemovedMsg>();
    news->job = state.id;
    outbox.TellJob(state.id, news);
    ostrel::LogStatus("job " + state.id.ToString() + " is removed");
}

void Dispatcher::ChangeParameters(const Request &request, const UID &job,
                                  const std::vector<Setting> &wishes)
{
    _CallEntry call("Dispatcher::ChangeParameters", __FILE__, __LINE__);

    // All is worked out before anything is written, so that there is nothing to undo.
    const String thing = wishes.size() == 1 ? wishes.front().first : String();
    const std::optional<JobState> state = m_store.FindState(job);
    if (!state)
        return request.Refuse(k_no_such_job, job, thing);
    const std::shared_ptr<const JobCache::Entry> entry = m_cache.Get(job);
    if (!entry->job)
        return request.Refuse(entry->reason, job, thing);

    Change change;
    change.state = *state;
    change.job = CopyOf(*entry->job);
    for (const Setting &wish : wishes)
        if (const String reason = TakeWish(wish, change); !reason.empty())
            return request.Refuse(reason, job, wish.first);
    if (const String reason = FinishChange(*entry->job, change); !reason.empty())
        return request.Refuse(reason, job, thing);

    request.Accept(job);
    CarryOut(*entry->job, change, request.outbox);
}

// Notes one wish, or tells why it cannot be.
String Dispatcher::TakeWish(const Setting &wish, Change &change)
{
    _CallEntry call("Dispatcher::TakeWish", __FILE__, __LINE__);

    const auto &[name, value] = wish;
    if (corvan::IsMasterParameter(name))
        return "the Master alone sets it";
    String present;
    const bool isNews = !change.job->GetParameter(name, present) || present != value;
    if (name == corvan::p_RequeueOf && isNews)
        return "where a job comes from does not change";
    // What a job has it may keep, also where nobody would be let set it.
    if (const String reason = isNews ? analysis::CheckSetting(*change.job, name, value)
                                     : change.job->CheckParameter(name, value);
        !reason.empty())
        return reason;

    if (name == corvan::p_Status)
    {
        String reason;
        change.request =
            DecideStatusRequest(change.state.status, JobStatus(Number(value)), &reason);
        change.isStatusWished = true;
        return reason;
    }
    change.told.push_back(wish);
    if (name == corvan::p_Priority)
    {
        change.state.priority = Number(value);
        return {};
    }
    change.job->SetParameter(name, value);
    change.changesJob = true;
    change.changesCommands = change.changesCommands || (isNews && !IsForPeople(name));
    return {};
}

// Cuts the job anew where it has to be, or tells why the job cannot be as it is wished.
String Dispatcher::FinishChange(const Job &before, Change &change)
{
    _CallEntry call("Dispatcher::FinishChange", __FILE__, __LINE__);

    if (CutsOtherwise(before, *change.job))
    {
        String reason;
        change.packets = CutPackets(*change.job, &reason);
        if (change.packets.empty())
            return reason;
    }

    // What waits may still be completed; what would run and cannot is better refused now.
    const bool begins =
        change.request == StatusRequest::Resume || change.request == StatusRequest::RunAgain;
    const bool waits = change.request == StatusRequest::Pause ||
                       (change.state.status == JobStatus::Paused && !begins);
    if (waits || (!begins && !change.changesCommands))
        return {};
    const std::shared_ptr<const JobCache::Entry> cut = m_cache.GetCut(change.state.id);
    String reason;
    if (CanRender(*change.job, change.packets.empty() ? cut->packets : change.packets, &reason))
        return {};
    // A job that is over may be mended one parameter after the other.
    String present;
    return begins || CanRender(before, cut->packets, &present) ? reason : String();
}

void Dispatcher::CarryOut(const Job &before, Change &change, Outbox &outbox)
{
    _CallEntry call("Dispatcher::CarryOut", __FILE__, __LINE__);

    for (const auto &[name, value] : change.told)
        outbox.Tell(change.state.id, name, value);
    if (change.isStatusWished)
        ChangeStatus(change.state, change.request, outbox);
    // What was mended is tried, and what somebody wants to go on.
    if (change.changesCommands || change.isStatusWished)
        outbox.TryNow(change.state.id);
    if (!change.packets.empty())
        CutAnew(before, change, outbox);
    if (change.changesJob)
    {
        m_store.SaveParameters(*change.job, change.state);
        m_cache.Forget(change.state.id);
    }
    m_store.SaveState(change.state);
}

void Dispatcher::ChangeStatus(JobState &state, StatusRequest request, Outbox &outbox)
{
    _CallEntry call("Dispatcher::ChangeStatus", __FILE__, __LINE__);

    switch (request)
    {
    case StatusRequest::NothingToDo:
    case StatusRequest::Refuse:
        break;
    case StatusRequest::Pause:
        state.status = JobStatus::Paused;
        break;
    case StatusRequest::Resume:
        state.status = m_store.Tasks().HasAny(state) ? JobStatus::Running : JobStatus::Queued;
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
    }
    if (request != StatusRequest::NothingToDo)
        StopWaiting(state, outbox);
    outbox.Tell(state.id, corvan::p_Status, std::to_string(int(state.status)));
}

// Whoever sets another status has seen why it waits.
void Dispatcher::StopWaiting(JobState &state, Outbox &outbox)
{
    _CallEntry call("Dispatcher::StopWaiting", __FILE__, __LINE__);

    if (state.firstFailures > 0)
        state.firstFailures = 0;
    if (state.waiting.empty())
        return;
    state.waiting.clear();
    outbox.Tell(state.id, corvan::p_Waiting, {});
}

void Dispatcher::CutAnew(const Job &before, Change &change, Outbox &outbox)
{
    _CallEntry call("Dispatcher::CutAnew", __FILE__, __LINE__);

    JobState &state = change.state;
    const std::shared_ptr<const JobCache::Entry> cut = m_cache.GetCut(state.id);
    Cuts cuts{cut->packets, change.packets, Cuts::Keep::Nothing};
    if (!cut->packets.empty())
        cuts.keep = FindKeep(before, *change.job, cut->packets.front(), change.packets.front());
    std::vector<TaskState> tasks = m_store.Tasks().List(state);
    Recut recut = RecutTasks(cuts, state, tasks);
    m_store.Tasks().Replace(state, std::move(tasks), recut.tasks);

    // New packets write logs of their own.
    state.logBase += state.tasksTotal;
    state.tasksTotal = unsigned(change.packets.size());
    state.tasksDone = recut.done;
    state.tasksFailed = recut.failed;
    state.nextTask = m_store.Tasks().FindUntouched(state, 0);
    outbox.EndRuns(state.id, std::move(recut.running));
    outbox.Tell(state.id, corvan::p_TasksTotal, std::to_string(state.tasksTotal));
    TellCounts(state, outbox);

    const JobStatus status = StatusOfRecut(state, !recut.tasks.empty());
    if (status == state.status)
        return;
    state.status = status;
    outbox.Tell(state.id, corvan::p_Status, std::to_string(int(status)));
}

void Dispatcher::StartAnew(JobState &state, Outbox &outbox)
{
    _CallEntry call("Dispatcher::StartAnew", __FILE__, __LINE__);

    m_store.Tasks().Forget(state);
    state.tasksDone = 0;
    state.tasksFailed = 0;
    state.nextTask = 0;
    state.firstFailures = 0;
    TellCounts(state, outbox);
}

} // namespace master
