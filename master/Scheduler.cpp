#include "master/Scheduler.h"

#include <cassert>
#include <optional>

#include "corvan/Parameters.h"
#include "master/run/RenderCommand.h"
#include "ostrel/Attempt.h"
#include "ostrel/CallEntry.h"
#include "ostrel/Log.h"

namespace master
{

using ostrel::_CallEntry;

namespace
{

// As a shell says of a command that it cannot start.
constexpr int k_could_not_start = 127;

void ChangeStatus(JobState &state, JobStatus status, Outbox &outbox)
{
    if (state.status == status)
        return;
    state.status = status;
    outbox.Tell(state.id, corvan::p_Status, std::to_string(int(status)));
    ostrel::LogStatus("job " + state.id.ToString() + " is " + corvan::StatusName(status));
}

// The last counts go before the status, after which nobody waits for more.
void Complete(JobState &state, Outbox &outbox)
{
    outbox.Tell(state.id, corvan::p_TasksDone, std::to_string(state.tasksDone));
    outbox.Tell(state.id, corvan::p_TasksFailed, std::to_string(state.tasksFailed));
    ChangeStatus(state, state.tasksFailed == 0 ? JobStatus::Done : JobStatus::Failed, outbox);
}

void AddRenderCommand(const JobCache::Entry &entry, Scheduler::Planned &planned)
{
    const std::optional<RenderCommand> render = BuildRenderCommand(
        *entry.job, entry.packets[planned.task], entry.packets.front().firstFrame, &planned.reason);
    if (!render)
        return;
    planned.command.arguments = render->arguments;
    planned.outputs = render->outputs;
}

} // namespace

Scheduler::Scheduler(JobStore &store, JobCache &cache, const TaskLogs &logs, CommandRunner &runner)
    : m_store(store), m_cache(cache), m_logs(logs), m_runner(runner)
{
    _CallEntry call("Scheduler::Scheduler", __FILE__, __LINE__);
}

void Scheduler::Record(const RunResult &result, Outbox &outbox)
{
    _CallEntry call("Scheduler::Record", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    const auto found = m_runs.find(result.run);
    if (found == m_runs.end() || found->second.isEnding)
        return;

    const Run &run = found->second;
    std::optional<JobState> state = m_store.FindState(run.job);
    if (!state)
        return;
    std::optional<TaskState> task = m_store.Tasks().Find(*state, run.task);
    // A change of this same turn took the task from its command.
    if (!task || task->status != JobStatus::Running)
        return;
    RecordTask(*state, *task, result.exitCode, outbox);
}

void Scheduler::RecordTask(JobState &state, TaskState &task, int exitCode, Outbox &outbox)
{
    _CallEntry call("Scheduler::RecordTask", __FILE__, __LINE__);

    task.exitCode = exitCode;
    if (exitCode == 0)
    {
        task.status = JobStatus::Done;
        ++state.tasksDone;
    }
    else if (++task.failures < k_MaxFailures)
    {
        task.status = JobStatus::Queued;
    }
    else
    {
        task.status = JobStatus::Failed;
        ++state.tasksFailed;
        ostrel::LogWarning("task " + std::to_string(task.index) + " of job " + state.id.ToString() +
                           " failed " + std::to_string(task.failures) + " times; see " +
                           m_logs.FileOf(state.id, LogNumber(state, task)).Text());
    }
    m_store.Tasks().Save(state, task);
    if (state.tasksDone + state.tasksFailed == state.tasksTotal)
        Complete(state, outbox);
    else if (task.status != JobStatus::Queued)
        outbox.TellProgress(state.id);
    m_store.SaveState(state);
}

void Scheduler::Forget(int run)
{
    _CallEntry call("Scheduler::Forget", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    m_runs.erase(run);
}

std::vector<Scheduler::Planned> Scheduler::Plan(Outbox &outbox)
{
    _CallEntry call("Scheduler::Plan", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    std::vector<Planned> planned;
    std::set<UID> passOver = JobsThatEnd();
    for (int slots = m_runner.FreeSlots(); slots > 0;)
    {
        std::optional<JobState> state = m_store.FindRunnable(passOver);
        if (!state)
            break;
        const std::optional<TaskState> task = m_store.Tasks().FindNext(*state);
        if (!task)
        {
            passOver.insert(state->id);
            continue;
        }
        planned.push_back(PlanTask(*state, *task, outbox));
        --slots;
    }
    return planned;
}

Scheduler::Planned Scheduler::PlanTask(JobState &state, const TaskState &queued, Outbox &outbox)
{
    _CallEntry call("Scheduler::PlanTask", __FILE__, __LINE__);

    TaskState task = queued;
    task.status = JobStatus::Running;
    ++task.tries;
    m_store.Tasks().Save(state, task);
    if (task.index == state.nextTask)
        state.nextTask = m_store.Tasks().FindUntouched(state, state.nextTask);
    ChangeStatus(state, JobStatus::Running, outbox);
    m_store.SaveState(state);

    Planned planned;
    planned.job = state.id;
    planned.task = task.index;
    planned.command.run = ++m_lastRun;
    planned.command.folder = m_logs.FolderOf(state.id);
    planned.log = LogNumber(state, task);
    planned.command.log = m_logs.FileOf(state.id, planned.log);
    const std::shared_ptr<const JobCache::Entry> entry = m_cache.GetCut(state.id);
    if (task.index < entry->packets.size())
        AddRenderCommand(*entry, planned);
    else
        planned.reason = entry->reason;
    return planned;
}

void Scheduler::Start(const std::vector<Planned> &planned, const CommandRunner::Finished &finished,
                      std::vector<RunResult> &failed)
{
    _CallEntry call("Scheduler::Start", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    for (const Planned &one : planned)
    {
        m_runs[one.command.run] = {one.job, one.task};
        String reason;
        bool isStarted = false;
        if (const auto thrown =
                ostrel::Attempt([&] { isStarted = StartOne(one, finished, &reason); }))
            reason = *thrown;
        if (isStarted)
            continue;
        ostrel::LogWarning("cannot start task " + std::to_string(one.task) + " of job " +
                           one.job.ToString() + ": " + reason);
        m_logs.Write(one.job, one.log, "corvan-master: cannot start: " + reason + "\n");
        failed.push_back({one.command.run, k_could_not_start});
    }
}

bool Scheduler::StartOne(const Planned &planned, const CommandRunner::Finished &finished,
                         String *reason)
{
    _CallEntry call("Scheduler::StartOne", __FILE__, __LINE__);

    *reason = planned.reason;
    if (!reason->empty())
        return false;
    if (!m_logs.MakeFolder(planned.job, reason))
        return false;
    if (!MakeFoldersOf(planned.outputs, reason))
        return false;
    return m_runner.Start(planned.command, finished, reason);
}

void Scheduler::EndRuns(const RunsToEnd &runs)
{
    _CallEntry call("Scheduler::EndRuns", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    for (auto &[number, run] : m_runs)
    {
        if (!(run.job == runs.job) || run.isEnding)
            continue;
        if (const auto kept = runs.kept.find(run.task); kept != runs.kept.end())
        {
            run.task = kept->second;
            continue;
        }
        run.isEnding = true;
        m_runner.End(number);
    }
}

void Scheduler::EndAllRuns()
{
    _CallEntry call("Scheduler::EndAllRuns", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    for (auto &[number, run] : m_runs)
    {
        run.isEnding = true;
        m_runner.End(number);
    }
}

std::set<UID> Scheduler::JobsThatEnd() const
{
    _CallEntry call("Scheduler::JobsThatEnd", __FILE__, __LINE__);

    std::set<UID> jobs;
    for (const auto &[number, run] : m_runs)
        if (run.isEnding)
            jobs.insert(run.job);
    return jobs;
}

} // namespace master
