#include "master/requests/JobEdits.h"

#include <cstdlib>

#include "analysis/SettingCheck.h"
#include "corvan/FrameChecking.h"
#include "corvan/JobType.h"
#include "corvan/Parameters.h"
#include "master/requests/Recut.h"
#include "master/run/RenderCommand.h"
#include "ostrel/CallEntry.h"

namespace master
{

using ostrel::_CallEntry;

namespace
{

int Number(const String &text)
{
    return int(std::strtol(text.c_str(), nullptr, 10));
}

// What no render command depends on.
bool IsForPeople(const String &name)
{
    return name == corvan::p_Name || name == corvan::p_Note || name == corvan::p_CustomRange ||
           name == corvan::p_UserRange || name == corvan::p_After || name == corvan::p_AfterGood ||
           corvan::IsFrameChecking(name);
}

bool CutsOtherwise(const Job &job, const Job &other)
{
    const auto isOther = [&](const String &name)
    { return job.ParameterText(name, true) != other.ParameterText(name, true); };
    return isOther(corvan::p_Range) || isOther(corvan::p_PacketSize) ||
           isOther(corvan::p_FrameOrder);
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
    {
        *reason = "there is nothing to render";
        return false;
    }
    const Packet &first = FirstOf(packets);
    return BuildRenderCommand(job, first, first.firstFrame, reason).has_value();
}

String StatusText(const JobState &state)
{
    return std::to_string(int(state.status));
}

String ValueBefore(const Job &job, const JobState &state, const String &name)
{
    if (name == corvan::p_Status)
        return StatusText(state);
    if (name == corvan::p_Priority)
        return std::to_string(state.priority);
    return job.ParameterText(name, false);
}

} // namespace

JobEdits::JobEdits(JobStore &store, JobCache &cache, Dependences &dependences)
    : m_store(store), m_cache(cache), m_dependences(dependences)
{
    _CallEntry call("JobEdits::JobEdits", __FILE__, __LINE__);
}

void JobEdits::ChangeParameters(const ClientRequest &request, const UID &job,
                                const std::vector<Setting> &wishes)
{
    _CallEntry call("JobEdits::ChangeParameters", __FILE__, __LINE__);

    // All is worked out before anything is written, so that there is nothing to undo.
    const String thing = wishes.size() == 1 ? wishes.front().first : String();
    const std::optional<JobState> state = m_store.FindState(job);
    if (!state)
        return request.RefuseUnknown(job, thing);
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
    for (const auto &[name, value] : wishes)
        request.NoteChange(job, name, ValueBefore(*entry->job, *state, name),
                           name == corvan::p_Status ? StatusText(change.state) : value);
}

// Notes one wish, or tells why it cannot be.
String JobEdits::TakeWish(const Setting &wish, Change &change)
{
    _CallEntry call("JobEdits::TakeWish", __FILE__, __LINE__);

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
String JobEdits::FinishChange(const Job &before, Change &change)
{
    _CallEntry call("JobEdits::FinishChange", __FILE__, __LINE__);

    if (CutsOtherwise(before, *change.job))
    {
        String reason;
        change.packets = CutPackets(*change.job, &reason);
        if (change.packets.empty())
            return reason;
    }

    if (!Dependences::IsSame(before, *change.job))
        if (String reason = m_dependences.Check(*change.job, &before, &change.state);
            !reason.empty())
            return reason;

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

void JobEdits::CarryOut(const Job &before, Change &change, Outbox &outbox)
{
    _CallEntry call("JobEdits::CarryOut", __FILE__, __LINE__);

    for (const auto &[name, value] : change.told)
        outbox.Tell(change.state.id, name, value);
    if (change.isStatusWished)
        ChangeStatus(change.state, change.request, outbox);
    // What was mended is tried, and what somebody wants to go on.
    if (change.changesCommands || change.isStatusWished)
        outbox.TryNow(change.state.id);
    if (change.changesCommands)
        outbox.RenewRuns(change.state.id);
    if (!change.packets.empty())
        CutAnew(before, change, outbox);
    if (change.changesJob)
    {
        m_store.SaveParameters(*change.job, change.state);
        m_cache.Forget(change.state.id);
    }
    m_store.SaveState(change.state);
    if (!Dependences::IsSame(before, *change.job))
        m_dependences.Keep(*change.job, change.state, outbox);
}

void JobEdits::ChangeStatus(JobState &state, StatusRequest request, Outbox &outbox)
{
    _CallEntry call("JobEdits::ChangeStatus", __FILE__, __LINE__);

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
void JobEdits::StopWaiting(JobState &state, Outbox &outbox)
{
    _CallEntry call("JobEdits::StopWaiting", __FILE__, __LINE__);

    if (state.firstFailures > 0)
        state.firstFailures = 0;
    if (state.waiting.empty())
        return;
    state.waiting.clear();
    outbox.Tell(state.id, corvan::p_Waiting, {});
}

void JobEdits::CutAnew(const Job &before, Change &change, Outbox &outbox)
{
    _CallEntry call("JobEdits::CutAnew", __FILE__, __LINE__);

    JobState &state = change.state;
    const std::shared_ptr<const JobCache::Entry> cut = m_cache.GetCut(state.id);
    Cuts cuts{cut->packets, change.packets, Cuts::Keep::Nothing};
    if (!cut->packets.empty())
        cuts.keep = FindKeep(before, *change.job, FirstOf(cut->packets), FirstOf(change.packets));
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

void JobEdits::StartAnew(JobState &state, Outbox &outbox)
{
    _CallEntry call("JobEdits::StartAnew", __FILE__, __LINE__);

    m_store.Tasks().Forget(state);
    m_store.Places().Forget(state);
    state.tasksDone = 0;
    state.tasksFailed = 0;
    state.nextTask = 0;
    state.firstFailures = 0;
    TellCounts(state, outbox);
    if (state.frameTimes.empty())
        return;
    state.frameTimes.clear();
    outbox.Tell(state.id, corvan::p_FrameSeconds, {});
    outbox.Tell(state.id, corvan::p_FrameSecondsSlowest, {});
}

} // namespace master
