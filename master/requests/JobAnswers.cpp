#include "master/requests/JobAnswers.h"

#include <boost/make_shared.hpp>

#include "corvan/Limits.h"
#include "ostrel/CallEntry.h"

namespace master
{

using ostrel::_CallEntry;

namespace
{

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

void TellPlace(const String &node, const String &number, const String &state,
               corvan::TaskInfo &info, std::size_t &bytes)
{
    const std::size_t size = node.size() + number.size() + state.size();
    if (size > bytes)
        return;
    bytes -= size;
    info.node = node;
    info.slurmId = number;
    info.slurmState = state;
}

} // namespace

JobAnswers::JobAnswers(JobStore &store, JobCache &cache, FindPlaces findPlaces)
    : m_store(store), m_cache(cache), m_findPlaces(std::move(findPlaces))
{
    _CallEntry call("JobAnswers::JobAnswers", __FILE__, __LINE__);
}

void JobAnswers::SendJobs(const ClientRequest &request, const corvan::GetJobInfoMsg &message)
{
    _CallEntry call("JobAnswers::SendJobs", __FILE__, __LINE__);

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
        String reason = "there is no such job";
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

void JobAnswers::SendJobList(const ClientRequest &request, const corvan::ListJobsMsg &message)
{
    _CallEntry call("JobAnswers::SendJobList", __FILE__, __LINE__);

    std::int64_t number = JobStore::k_BeyondNewest;
    if (!message.before.IsNil())
    {
        const std::optional<JobState> before = m_store.FindState(message.before);
        if (!before)
            return request.RefuseUnknown(message.before, message.before.ToString());
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

void JobAnswers::SendTasks(const ClientRequest &request, const corvan::GetTasksMsg &message)
{
    _CallEntry call("JobAnswers::SendTasks", __FILE__, __LINE__);

    const std::optional<JobState> state = m_store.FindState(message.job);
    if (!state)
        return request.RefuseUnknown(message.job, message.job.ToString());
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
    TellPlaces(*state, answer->tasks);
    if (state->status == JobStatus::Cancelled)
        for (corvan::TaskInfo &task : answer->tasks)
            if (task.status == JobStatus::Queued)
                task.status = JobStatus::Cancelled;
    request.Answer(answer);
}

// What is handed over and has not begun is queued there, whatever the store calls it.
void JobAnswers::TellPlaces(const JobState &state, std::vector<corvan::TaskInfo> &tasks)
{
    _CallEntry call("JobAnswers::TellPlaces", __FILE__, __LINE__);

    std::size_t bytes = k_PlaceBytes;
    const std::map<std::int64_t, TaskPlace> places = m_store.Places().List(state);
    if (!places.empty())
        for (const TaskState &task : m_store.Tasks().List(state))
            if (const auto place = places.find(LogNumber(state, task));
                place != places.end() && task.index < tasks.size() && task.tries > 0)
                TellPlace(place->second.node, place->second.number, place->second.state,
                          tasks[task.index], bytes);
    if (!m_findPlaces)
        return;
    for (const auto &[index, place] : m_findPlaces(state.id))
    {
        if (index >= tasks.size() || tasks[index].status != JobStatus::Running)
            continue;
        if (!place.isStarted)
            tasks[index].status = JobStatus::Queued;
        if (place.stuck.size() <= bytes)
        {
            bytes -= place.stuck.size();
            tasks[index].stuck = place.stuck;
        }
        TellPlace(place.node, place.number, place.state, tasks[index], bytes);
    }
}

void JobAnswers::SendTaskLog(const ClientRequest &request, const corvan::GetTaskLogMsg &message)
{
    _CallEntry call("JobAnswers::SendTaskLog", __FILE__, __LINE__);

    const std::optional<JobState> state = m_store.FindState(message.job);
    if (!state)
        return request.RefuseUnknown(message.job, message.job.ToString());
    if (message.task >= state->tasksTotal)
        return request.Refuse("the job has no task " + std::to_string(message.task), message.job,
                              message.job.ToString());

    const TaskState task =
        m_store.Tasks().Find(*state, message.task).value_or(TaskState{.index = message.task});
    if (message.attempt > task.tries)
        return request.Refuse("task " + std::to_string(message.task) + " was tried " +
                                  std::to_string(task.tries) + " times",
                              message.job, message.job.ToString());
    const unsigned attempt = message.attempt == 0 ? task.tries : message.attempt;
    request.outbox.Wish(LogWish{.client = request.caller.client,
                                .serial = request.message.serial,
                                .job = message.job,
                                .task = message.task,
                                .attempt = attempt,
                                .log = LogNumber(*state, task),
                                .isLast = attempt == task.tries});
}

} // namespace master
