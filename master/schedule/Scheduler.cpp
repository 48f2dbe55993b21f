#include "master/schedule/Scheduler.h"

#include <algorithm>
#include <cassert>
#include <optional>

#include "corvan/JobType.h"
#include "corvan/Parameters.h"
#include "corvan/QueueWishes.h"
#include "master/run/RenderCommand.h"
#include "master/schedule/FairQueue.h"
#include "master/schedule/FrameTimes.h"
#include "ostrel/Attempt.h"
#include "ostrel/CallEntry.h"
#include "ostrel/Log.h"

namespace master
{

using ostrel::_CallEntry;

namespace
{

void ChangeStatus(JobState &state, JobStatus status, Outbox &outbox)
{
    if (state.status == status)
        return;
    state.status = status;
    outbox.Tell(state.id, corvan::p_Status, std::to_string(int(status)));
    ostrel::LogStatus("job " + state.id.ToString() + " is " + corvan::StatusName(status));
}

void ChangeWaiting(JobState &state, const String &why, Outbox &outbox)
{
    if (state.waiting == why)
        return;
    state.waiting = why;
    outbox.Tell(state.id, corvan::p_Waiting, why);
    if (!why.empty())
        ostrel::LogWarning("job " + state.id.ToString() + " waits: " + why);
}

unsigned CountFrames(const Packet &packet)
{
    return unsigned(std::int64_t(packet.lastFrame) - packet.firstFrame + 1);
}

// The last counts go before the status, after which nobody waits for more.
void Complete(JobState &state, Outbox &outbox)
{
    ChangeWaiting(state, {}, outbox);
    outbox.Tell(state.id, corvan::p_TasksDone, std::to_string(state.tasksDone));
    outbox.Tell(state.id, corvan::p_TasksFailed, std::to_string(state.tasksFailed));
    ChangeStatus(state, state.tasksFailed == 0 ? JobStatus::Done : JobStatus::Failed, outbox);
}

// Of a task or of a run.
template <typename End> String HowItFailed(const End &end)
{
    const String how = end.exitCode == -1 ? String("it was ended by a signal")
                                          : String("exit code " + std::to_string(end.exitCode));
    return end.reason.empty() ? how : end.reason;
}

} // namespace

Scheduler::Scheduler(JobStore &store, JobCache &cache, const TaskLogs &logs, CommandRunner &runner,
                     const Clock &clock, const Pauses &pauses)
    : m_store(store), m_cache(cache), m_logs(logs), m_runner(runner), m_clock(clock),
      m_jobPauses(pauses), m_taskPauses(pauses)
{
    _CallEntry call("Scheduler::Scheduler", __FILE__, __LINE__);
}

bool Scheduler::NoteStart(int number)
{
    _CallEntry call("Scheduler::NoteStart", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    const auto found = m_runs.find(number);
    if (found == m_runs.end() || found->second.isStarted)
        return false;
    found->second.isStarted = true;
    found->second.started = m_clock.Now();
    const UID &job = found->second.job;
    const bool wasKept = m_keptWaiting.erase(job) > 0;
    const bool wasTroubled = m_jobPauses.IsTroubled(job) || wasKept;
    // Elsewhere a start is not all that may go wrong before the command begins.
    if (m_runner.BatchSize() > 0)
        m_jobPauses.Ease(job);
    else
        m_jobPauses.End(job);
    return (found->second.tellsStart || wasTroubled) && !found->second.isEnding;
}

void Scheduler::RecordStart(int number, Outbox &outbox)
{
    _CallEntry call("Scheduler::RecordStart", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    const auto found = m_runs.find(number);
    if (found == m_runs.end() || found->second.isEnding)
        return;
    std::optional<JobState> state = m_store.FindState(found->second.job);
    if (!state || corvan::IsOver(state->status) || state->status == JobStatus::Paused)
        return;
    ChangeStatus(*state, JobStatus::Running, outbox);
    ChangeWaiting(*state, {}, outbox);
    m_store.SaveState(*state);
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
    const RunEnd end = EndOf(result, run);
    if (const RunPlace &place = end.place; !place.number.empty())
        m_store.Places().SaveEnd(*state, LogNumber(*state, *task),
                                 {UID(), 0, place.node, place.number, place.state});
    if (end.isStarted && end.IsSuccess() && !end.isLost)
        RecordTime(*state, run, end);
    if (end.isLost)
        RecordLost(*state, *task, end, outbox);
    else if (end.isStarted)
        RecordTask(*state, *task, end, outbox);
    else
    {
        QueueAgain(*state, *task);
        if (!run.isOutdated)
            RecordTrouble(*state, end, outbox);
    }
}

// Whoever was ended for what it did has failed, however it has ended.
RunEnd Scheduler::EndOf(const RunResult &result, const Run &run) const
{
    _CallEntry call("Scheduler::EndOf", __FILE__, __LINE__);

    RunEnd end = result.end;
    if (!end.took)
        end.took = TimeOf(result.run);
    if (run.failure.empty())
        return end;
    end.isStarted = true;
    end.isLost = end.machineFailed = false;
    end.exitCode = -1;
    end.reason = run.failure;
    return end;
}

void Scheduler::RecordTime(JobState &state, const Run &run, const RunEnd &end)
{
    _CallEntry call("Scheduler::RecordTime", __FILE__, __LINE__);

    if (!end.took)
        return;
    FrameTimes times = FrameTimes::Parse(state.frameTimes);
    times.Add(std::chrono::duration<double>(*end.took).count() / run.frames);
    state.frameTimes = times.ToText();
}

void Scheduler::RecordLost(JobState &state, TaskState &task, const RunEnd &end, Outbox &outbox)
{
    _CallEntry call("Scheduler::RecordLost", __FILE__, __LINE__);

    const int losses = end.machineFailed ? m_losses.Note(state.id, task.index) : 0;
    if (losses > TaskLosses::k_Forgiven)
    {
        RunEnd failure = end;
        failure.reason += " (" + std::to_string(losses) + " times in a row)";
        return RecordTask(state, task, failure, outbox);
    }
    task.status = JobStatus::Queued;
    // What it has printed keeps its number.
    if (!end.isStarted)
        --task.tries;
    m_store.Tasks().Save(state, task);
    if (end.reason.empty())
        return;
    ostrel::LogWarning("task " + std::to_string(task.index) + " of job " + state.id.ToString() +
                       " is begun again: " + end.reason);
    m_taskPauses.Begin(state.id, task.index, 1, m_clock.Now());
}

void Scheduler::QueueAgain(const JobState &state, TaskState &task)
{
    _CallEntry call("Scheduler::QueueAgain", __FILE__, __LINE__);

    task.status = JobStatus::Queued;
    --task.tries;
    m_store.Tasks().Save(state, task);
}

void Scheduler::RecordTrouble(JobState &state, const RunEnd &end, Outbox &outbox)
{
    _CallEntry call("Scheduler::RecordTrouble", __FILE__, __LINE__);

    if (!end.leadsOut)
        return Wait(state, end.reason, outbox);
    // Somebody has to change the job, its type or the folders.
    if (state.status == JobStatus::Paused)
        return;
    ChangeWaiting(state, end.reason, outbox);
    ChangeStatus(state, JobStatus::Paused, outbox);
    m_store.SaveState(state);
}

void Scheduler::Wait(JobState &state, const String &reason, Outbox &outbox)
{
    _CallEntry call("Scheduler::Wait", __FILE__, __LINE__);

    m_jobPauses.Begin(state.id, m_clock.Now());
    if (state.waiting == reason || state.status == JobStatus::Paused)
        return;
    ChangeWaiting(state, reason, outbox);
    m_store.SaveState(state);
}

void Scheduler::RecordTask(JobState &state, TaskState &task, const RunEnd &end, Outbox &outbox)
{
    _CallEntry call("Scheduler::RecordTask", __FILE__, __LINE__);

    if (m_runner.BatchSize() > 0)
        m_jobPauses.End(state.id);
    if (!end.machineFailed)
        m_losses.Forget(state.id, task.index);
    task.exitCode = end.exitCode;
    task.reason = end.reason;
    if (end.IsSuccess())
    {
        task.status = JobStatus::Done;
        ++state.tasksDone;
        state.firstFailures = -1;
    }
    else
    {
        RecordFailure(state, task, outbox);
    }
    m_store.Tasks().Save(state, task);
    if (state.tasksDone + state.tasksFailed == state.tasksTotal)
        Complete(state, outbox);
    else if (task.status != JobStatus::Queued)
        outbox.TellProgress(state.id);
    m_store.SaveState(state);
}

void Scheduler::RecordFailure(JobState &state, TaskState &task, Outbox &outbox)
{
    _CallEntry call("Scheduler::RecordFailure", __FILE__, __LINE__);

    ++task.failures;
    if (task.failures < k_MaxFailures)
    {
        task.status = JobStatus::Queued;
        m_taskPauses.Begin(state.id, task.index, task.failures, m_clock.Now());
    }
    else
    {
        task.status = JobStatus::Failed;
        ++state.tasksFailed;
        ostrel::LogWarning("task " + std::to_string(task.index) + " of job " + state.id.ToString() +
                           " failed " + std::to_string(task.failures) + " times; see " +
                           m_logs.FileOf(state.id, LogNumber(state, task), task.tries).Text());
    }

    if (task.failures > 1 || state.firstFailures < 0)
        return;
    ++state.firstFailures;
    if (state.firstFailures < k_FirstTasks || state.status == JobStatus::Paused)
        return;
    ChangeWaiting(state,
                  "its first " + std::to_string(state.firstFailures) +
                      " tasks have all failed, the last of them: " + HowItFailed(task),
                  outbox);
    ChangeStatus(state, JobStatus::Paused, outbox);
}

void Scheduler::Forget(int run)
{
    _CallEntry call("Scheduler::Forget", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    if (const auto found = m_runs.find(run); found != m_runs.end())
    {
        m_endingRuns -= found->second.isEnding ? 1 : 0;
        const UID job = found->second.job;
        m_shares.End(job);
        // Whoever has it run again finds why it waits in its state.
        if (!m_shares.Has(job))
            m_keptWaiting.erase(job);
        m_runs.erase(found);
    }
    m_runner.Recorded(run);
}

std::vector<Scheduler::Planned> Scheduler::Plan(Outbox &outbox)
{
    _CallEntry call("Scheduler::Plan", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    std::vector<Planned> planned;
    FairQueue queue(m_store, m_shares, JobsToPassOver());
    Batches batches;
    std::map<UID, int> taken;
    for (int slots = m_runner.FreeSlots(); slots > 0;)
    {
        FairQueue::Turn *const turn = queue.Next();
        if (!turn)
            break;
        JobState *const state = &turn->job;
        if (taken[state->id] >= m_runner.RoomFor(state->id))
        {
            queue.PassOver();
            continue;
        }
        std::optional<TaskState> task =
            m_store.Tasks().FindNext(*state, m_taskPauses.Pausing(state->id, m_clock.Now()));
        Planned one;
        String reason;
        const bool isReady = task && Prepare(*state, *task, one, &reason);
        if (!isReady)
        {
            if (task)
                Wait(*state, reason, outbox);
            queue.PassOver();
            continue;
        }
        if (m_runner.BatchSize() > 0)
            PutIntoBatch(*state, *task, batches, one);
        MarkRunning(*state, *task);
        one.owner = turn->owner;
        one.priority = state->priority;
        queue.Serve();
        ++taken[state->id];
        // One command shows whether the others could be started, too.
        if (m_jobPauses.IsTroubled(state->id))
            queue.PassOver();
        planned.push_back(std::move(one));
        --slots;
    }
    return planned;
}

// False, with the reason, where there is no command that could be started.
bool Scheduler::Prepare(const JobState &state, const TaskState &task, Planned &planned,
                        String *reason)
{
    _CallEntry call("Scheduler::Prepare", __FILE__, __LINE__);

    const std::shared_ptr<const JobCache::Entry> entry = m_cache.GetCut(state.id);
    if (task.index >= entry->packets.size())
    {
        *reason = entry->reason.empty() ? "the job has no such packet" : entry->reason;
        return false;
    }
    const std::optional<RenderCommand> render =
        BuildRenderCommand(*entry->job, entry->packets[task.index], entry->firstFrame, reason);
    if (!render)
        return false;

    planned.job = state.id;
    planned.task = task.index;
    planned.frames = CountFrames(entry->packets[task.index]);
    planned.command.arguments = render->arguments;
    planned.command.folder = m_logs.FolderOf(state.id);
    planned.command.log = m_logs.FileOf(state.id, LogNumber(state, task), task.tries + 1);
    planned.command.run = ++m_lastRun;
    planned.command.places = render->outputs;
    planned.command.outputs =
        ListOutputs(*entry->job, entry->packets[task.index], entry->firstFrame);
    planned.command.rooted = render->rooted;
    planned.command.outputRoots = render->outputRoots;
    planned.command.keepsOld = entry->job->Type().keepsOld;
    planned.command.limits = corvan::RunLimitsOf(*entry->job);
    planned.command.passEnvironment = entry->job->Type().passEnvironment;
    planned.tellsStart = state.status != JobStatus::Running || !state.waiting.empty();
    return true;
}

// It is on disk before it is handed over, so that it is found again whatever happens meanwhile.
void Scheduler::PutIntoBatch(const JobState &state, const TaskState &task, Batches &batches,
                             Planned &planned)
{
    _CallEntry call("Scheduler::PutIntoBatch", __FILE__, __LINE__);

    const unsigned element = task.index % m_runner.BatchSize();
    const unsigned offset = task.index - element;
    const auto [batch, isNew] = batches.try_emplace({state.id, offset});
    if (isNew)
        batch->second = UID(true);
    planned.command.job = state.id;
    planned.command.batch = BatchPlace{batch->second, element, offset};
    planned.command.priority = state.priority;
    planned.command.wishes = corvan::QueueWishesOf(*m_cache.GetCut(state.id)->job);
    m_store.Places().Save(state, LogNumber(state, task), {batch->second, element});
}

void Scheduler::MarkRunning(JobState &state, TaskState &task)
{
    _CallEntry call("Scheduler::MarkRunning", __FILE__, __LINE__);

    task.status = JobStatus::Running;
    ++task.tries;
    m_store.Tasks().Save(state, task);
    if (task.index == state.nextTask)
    {
        state.nextTask = m_store.Tasks().FindUntouched(state, state.nextTask);
        m_store.SaveState(state);
    }
}

void Scheduler::Start(const std::vector<Planned> &planned, RunListener &listener,
                      std::vector<RunResult> &failed)
{
    _CallEntry call("Scheduler::Start", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    for (const Planned &one : planned)
    {
        m_runs[one.command.run] = {.job = one.job,
                                   .task = one.task,
                                   .tellsStart = one.tellsStart,
                                   .frames = one.frames,
                                   .log = one.command.log};
        m_shares.Begin(one.job, one.owner, one.priority);
        String reason;
        bool isStarted = false;
        if (const auto thrown =
                ostrel::Attempt([&] { isStarted = StartOne(one, listener, &reason); }))
            reason = *thrown;
        if (!isStarted)
            failed.push_back({one.command.run, {.isStarted = false, .reason = reason}});
    }
}

bool Scheduler::StartOne(const Planned &planned, RunListener &listener, String *reason)
{
    _CallEntry call("Scheduler::StartOne", __FILE__, __LINE__);

    // Where it is handed over the folder is on a share, and whoever hands it over makes it.
    return (planned.command.batch || m_logs.MakeFolder(planned.job, reason)) &&
           m_runner.Start(planned.command, listener, reason);
}

void Scheduler::AdoptRuns(RunListener &listener)
{
    _CallEntry call("Scheduler::AdoptRuns", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    const std::vector<PlaceStore::Running> running = m_store.Places().ListRunning();
    for (const PlaceStore::Running &one : running)
    {
        const int number = ++m_lastRun;
        Run &run = m_runs[number] = {.job = one.job, .task = one.task};
        const std::shared_ptr<const JobCache::Entry> entry = m_cache.GetCut(one.job);
        const std::optional<JobState> state = m_store.FindState(one.job);
        std::vector<Path> outputs;
        if (one.task < entry->packets.size())
        {
            const Packet &packet = entry->packets[one.task];
            run.frames = CountFrames(packet);
            // Where a task is done its files were seen.
            if (state && state->tasksDone == 0)
                outputs = ListOutputs(*entry->job, packet, entry->firstFrame);
        }
        if (state)
            if (const std::optional<TaskState> task = m_store.Tasks().Find(*state, one.task))
                run.log = m_logs.FileOf(one.job, LogNumber(*state, *task), task->tries);
        m_shares.Begin(one.job, one.owner, one.priority);
        m_runner.Adopt({.run = number,
                        .job = one.job,
                        .place = {one.place.batch, one.place.element},
                        .isHeld = one.status == JobStatus::Paused,
                        .priority = one.priority,
                        .output = outputs.empty() ? Path() : outputs.front()},
                       listener);
    }
    if (!running.empty())
        ostrel::LogStatus(std::to_string(running.size()) + " tasks go on where they are");
}

bool Scheduler::NoteQueued(const UID &job, const String &why)
{
    _CallEntry call("Scheduler::NoteQueued", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    if (!why.empty())
    {
        m_keptWaiting.insert(job);
        return true;
    }
    const bool wasKept = m_keptWaiting.erase(job) > 0;
    const bool wasTroubled = m_jobPauses.IsTroubled(job);
    m_jobPauses.Ease(job);
    return wasTroubled || wasKept;
}

void Scheduler::RecordQueued(const UID &job, const String &why, Outbox &outbox)
{
    _CallEntry call("Scheduler::RecordQueued", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    std::optional<JobState> state = m_store.FindState(job);
    if (!state || corvan::IsOver(state->status) || state->status == JobStatus::Paused)
        return;
    ChangeWaiting(*state, why, outbox);
    m_store.SaveState(*state);
}

std::map<unsigned, RunPlace> Scheduler::PlacesOf(const UID &job) const
{
    _CallEntry call("Scheduler::PlacesOf", __FILE__, __LINE__);

    std::map<unsigned, RunPlace> places;
    if (m_runner.BatchSize() == 0)
        return places;
    for (const auto &[number, run] : m_runs)
        if (run.job == job && !run.isEnding)
            if (const std::optional<RunPlace> place = m_runner.PlaceOf(number))
                places[run.task] = *place;
    return places;
}

void Scheduler::TellRunner(const UID &job)
{
    _CallEntry call("Scheduler::TellRunner", __FILE__, __LINE__);

    if (m_runner.BatchSize() == 0 && !m_shares.Has(job))
        return;
    const std::optional<JobState> state = m_store.FindState(job);
    if (!state)
        return;
    m_shares.SetPriority(job, state->priority);
    if (m_runner.BatchSize() > 0)
        m_runner.SetJob(job, state->status == JobStatus::Paused, state->priority);
}

void Scheduler::RenewRuns(const UID &job)
{
    _CallEntry call("Scheduler::RenewRuns", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    for (const auto &[number, run] : m_runs)
        if (run.job == job && !run.isStarted && !run.isEnding)
            m_runner.Withdraw(number);
}

std::vector<Scheduler::StartedRun> Scheduler::ListStarted() const
{
    _CallEntry call("Scheduler::ListStarted", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    std::vector<StartedRun> started;
    const bool hasPlaces = m_runner.BatchSize() > 0;
    for (const auto &[number, run] : m_runs)
    {
        if (!run.isStarted || run.isEnding || !run.failure.empty())
            continue;
        std::optional<Clock::Moment> since = run.started;
        if (hasPlaces)
            if (const auto place = m_runner.PlaceOf(number); place && place->since)
                since = place->since;
        if (since)
            started.push_back({number, run.job, run.task, run.frames, *since, run.log});
    }
    return started;
}

void Scheduler::FailRun(int number, const String &why)
{
    _CallEntry call("Scheduler::FailRun", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    const auto found = m_runs.find(number);
    if (found == m_runs.end() || found->second.isEnding || !found->second.failure.empty())
        return;
    found->second.failure = why;
    ostrel::LogWarning("task " + std::to_string(found->second.task) + " of job " +
                       found->second.job.ToString() + ": " + why);
    m_runner.End(number);
}

std::optional<Scheduler::NodeResult> Scheduler::JudgeRun(const RunResult &result,
                                                         const String &ownNode) const
{
    _CallEntry call("Scheduler::JudgeRun", __FILE__, __LINE__);

    const auto found = m_runs.find(result.run);
    if (found == m_runs.end() || found->second.isEnding)
        return std::nullopt;
    const RunEnd end = EndOf(result, found->second);
    const bool isElsewhere = m_runner.BatchSize() > 0;
    // What cannot be started here is trouble of the Master's own, and of the job; what somebody has
    // cancelled there is nobody's fault.
    const bool isNobodysFault =
        end.isLost ? !end.machineFailed
                   : !end.isStarted && (!isElsewhere || end.place.state == "CANCELLED" ||
                                        end.place.state == "REVOKED");
    if (isNobodysFault)
        return std::nullopt;
    NodeResult judged{isElsewhere ? end.place.node : ownNode,
                      found->second.job,
                      found->second.task,
                      !end.IsSuccess(),
                      {}};
    if (judged.hasFailed)
        judged.why = HowItFailed(end);
    return judged;
}

std::optional<std::chrono::milliseconds> Scheduler::TimeOf(int number) const
{
    _CallEntry call("Scheduler::TimeOf", __FILE__, __LINE__);

    // Elsewhere it is heard of late.
    const auto found = m_runs.find(number);
    if (found == m_runs.end() || !found->second.started || m_runner.BatchSize() > 0)
        return std::nullopt;
    return std::chrono::duration_cast<std::chrono::milliseconds>(m_clock.Now() -
                                                                 *found->second.started);
}

void Scheduler::TryNow(const UID &job)
{
    _CallEntry call("Scheduler::TryNow", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    m_jobPauses.End(job);
    m_taskPauses.End(job);
    m_losses.Forget(job);
    for (auto &[number, run] : m_runs)
        run.isOutdated = run.isOutdated || run.job == job;
}

std::optional<Clock::Moment> Scheduler::NextPauseEnd() const
{
    _CallEntry call("Scheduler::NextPauseEnd", __FILE__, __LINE__);

    const Clock::Moment now = m_clock.Now();
    const auto job = m_jobPauses.NextEnd(now);
    const auto task = m_taskPauses.NextEnd(now);
    return job && task ? std::min(*job, *task) : (job ? job : task);
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
        ++m_endingRuns;
        m_runner.End(number);
    }
    TryNow(runs.job);
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
    m_endingRuns = m_runs.size();
}

bool Scheduler::HasRunsOf(const UID &job) const
{
    _CallEntry call("Scheduler::HasRunsOf", __FILE__, __LINE__);

    return std::ranges::any_of(m_runs, [&](const auto &run) { return run.second.job == job; });
}

// Nothing is planned for them.
std::set<UID> Scheduler::JobsToPassOver() const
{
    _CallEntry call("Scheduler::JobsToPassOver", __FILE__, __LINE__);

    std::set<UID> jobs;
    m_jobPauses.AddPausing(m_clock.Now(), jobs);
    // Thousands may run, and each turn plans.
    if (m_endingRuns == 0 && !m_jobPauses.HasAny())
        return jobs;
    for (const auto &[number, run] : m_runs)
        if (run.isEnding || (!run.isStarted && m_jobPauses.IsTroubled(run.job)))
            jobs.insert(run.job);
    return jobs;
}

} // namespace master
