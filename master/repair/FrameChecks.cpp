#include "master/repair/FrameChecks.h"

#include <algorithm>
#include <cassert>

#include "corvan/ImageFormats.h"
#include "corvan/JobType.h"
#include "corvan/Parameters.h"
#include "corvan/RequeueJob.h"
#include "corvan/Utf8.h"
#include "master/jobs/FrameParameters.h"
#include "ostrel/Attempt.h"
#include "ostrel/CallEntry.h"
#include "ostrel/Log.h"

namespace master
{

using check::BadFrames;
using check::LookAnswer;
using check::LookRequest;
using corvan::FrameChecking;
using corvan::SequenceDistributor;
using ostrel::_CallEntry;
using Phase = JobFrames::Phase;

namespace
{

// It hears when a requeue is over; this is for what it does not hear of.
constexpr std::chrono::seconds k_look_again{60};

// Of one that was cancelled nobody wants to know.
bool AreTasksOver(JobStatus status)
{
    return status == JobStatus::Done || status == JobStatus::Failed;
}

bool IsOverWith(const JobFrames &frames)
{
    return frames.phase == Phase::Done;
}

LookRequest::Depth DepthOf(FrameChecking::Kind kind)
{
    switch (kind)
    {
    case FrameChecking::Kind::None:
    case FrameChecking::Kind::Sizes:
        break;
    case FrameChecking::Kind::Decode:
        return LookRequest::Depth::Images;
    case FrameChecking::Kind::Pictures:
        return LookRequest::Depth::Pictures;
    }
    return LookRequest::Depth::Sizes;
}

String WhichAreBad(const JobFrames &frames)
{
    if (frames.badRange.empty())
        return std::to_string(frames.bad) + " frames";
    return frames.badRange;
}

void TellChanges(const UID &job, const FrameParameters &before, const FrameParameters &after,
                 Outbox &outbox)
{
    for (std::size_t i = 0; i < after.size(); ++i)
        if (before[i] != after[i])
            outbox.Tell(job, after[i].first, after[i].second);
}

} // namespace

FrameChecks::FrameChecks(AlarmClock &clock, const Farm &farm, const Pauses &pauses,
                         FrameRequeues::MakeID makeID, std::function<void()> wake)
    : m_clock(clock), m_farm(farm), m_pauses(pauses),
      m_requeues(farm.store, farm.cache, std::move(makeID)), m_wake(std::move(wake)),
      m_alarm(clock.MakeAlarm())
{
    _CallEntry call("FrameChecks::FrameChecks", __FILE__, __LINE__);
}

void FrameChecks::NoteChanges(Outbox &outbox)
{
    _CallEntry call("FrameChecks::NoteChanges", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    for (const auto &[job, note] : outbox.TakeFrameNotes())
        NoteChange(job, note, outbox);
}

void FrameChecks::NoteChange(const UID &id, const FrameNote &note, Outbox &outbox)
{
    _CallEntry call("FrameChecks::NoteChange", __FILE__, __LINE__);

    const std::optional<JobState> state = m_farm.store.FindState(id);
    const std::shared_ptr<const JobCache::Entry> entry = m_farm.cache.Get(id);
    if (!state || !entry->job)
        return;
    if (note.isStatusTold && corvan::IsOver(state->status))
        NoteRequeueOver(*entry->job, outbox);
    if (note.isStatusTold && m_rounds.contains(id))
        outbox.FollowFrames(id);

    const bool isLookedAt = IsLookedAt(m_farm.store, m_farm.cache, *entry->job);
    const std::optional<JobFrames> before = m_farm.store.Frames().Find(*state);
    std::optional<JobFrames> after = before;
    if (!isLookedAt || !AreTasksOver(state->status))
        after.reset();
    else if (!before || note.isOtherTold)
        after = JobFrames();
    const FrameParameters told = FrameParametersOf(isLookedAt, after);
    if (note.isKindTold)
        // What was told before is not known.
        for (const auto &[name, value] : told)
            outbox.Tell(id, name, value);
    else
        TellChanges(id, FrameParametersOf(isLookedAt || before, before), told, outbox);
    if (after == before && !note.isOtherTold)
        return;
    if (after)
        m_farm.store.Frames().Save(*state, *after);
    else
        m_farm.store.Frames().Forget(*state);
    outbox.FollowFrames(id);
}

// Files of its origin are others than they were.
void FrameChecks::NoteRequeueOver(const Job &requeue, Outbox &outbox)
{
    _CallEntry call("FrameChecks::NoteRequeueOver", __FILE__, __LINE__);

    const UID origin = corvan::OriginOf(requeue);
    if (origin.IsNil())
        return;
    const std::optional<JobState> state = m_farm.store.FindState(origin);
    const std::optional<JobFrames> before =
        state ? m_farm.store.Frames().Find(*state) : std::nullopt;
    if (!before)
        return;
    JobFrames after = *before;
    after.phase = Phase::Waiting;
    after.trouble.clear();
    Save(*state, *before, after, outbox);
    outbox.FollowFrames(origin);
}

void FrameChecks::Save(const JobState &state, const JobFrames &before, const JobFrames &after,
                       Outbox &outbox)
{
    _CallEntry call("FrameChecks::Save", __FILE__, __LINE__);

    if (after == before)
        return;
    m_farm.store.Frames().Save(state, after);
    TellChanges(state.id, FrameParametersOf(true, before), FrameParametersOf(true, after), outbox);
}

void FrameChecks::Follow(const std::set<UID> &jobs)
{
    _CallEntry call("FrameChecks::Follow", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    if (!m_isLoaded)
        return;
    const auto reason = ostrel::Attempt(
        [&]
        {
            for (const UID &job : jobs)
                Follow(job);
        });
    if (!reason)
        return;
    ostrel::LogError(*reason);
    m_isLoaded = false;
}

void FrameChecks::Follow(const UID &job)
{
    _CallEntry call("FrameChecks::Follow", __FILE__, __LINE__);

    // A requeue that is gone is over.
    if (const auto round = m_rounds.find(job); round != m_rounds.end())
        if (const auto watch = m_watches.find(round->second); watch != m_watches.end())
            watch->second.due = m_clock.Now();

    EndWatch(job);
    const std::optional<JobState> state = m_farm.store.FindState(job);
    const std::optional<JobFrames> frames =
        state ? m_farm.store.Frames().Find(*state) : std::nullopt;
    if (!frames || IsOverWith(*frames))
        return;
    m_watches[job] = {.due = m_clock.Now(), .print = {}};
    if (!frames->round.IsNil())
        m_rounds[frames->round] = job;
}

void FrameChecks::EndWatch(const UID &job)
{
    _CallEntry call("FrameChecks::EndWatch", __FILE__, __LINE__);

    std::erase_if(m_rounds, [&](const auto &round) { return round.second == job; });
    const auto watch = m_watches.find(job);
    if (watch == m_watches.end())
        return;
    if (const auto look = m_looks.find(watch->second.look); look != m_looks.end())
    {
        m_farm.looker->End(look->first);
        look->second.end = std::min(look->second.end, m_clock.Now() + k_Grace);
    }
    m_watches.erase(watch);
}

void FrameChecks::Load()
{
    _CallEntry call("FrameChecks::Load", __FILE__, __LINE__);

    const std::vector<FrameStore::Due> all = m_farm.store.Frames().ListDue();
    while (!m_watches.empty())
        EndWatch(UID(m_watches.begin()->first));
    m_rounds.clear();
    for (const FrameStore::Due &due : all)
    {
        m_watches[due.job] = {.due = m_clock.Now(), .print = {}};
        if (!due.round.IsNil())
            m_rounds[due.round] = due.job;
    }
    m_isLoaded = true;
}

void FrameChecks::OnLooked(int look, const LookAnswer &answer)
{
    _CallEntry call("FrameChecks::OnLooked", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    const auto found = m_looks.find(look);
    if (found == m_looks.end())
        return;
    const auto watch = m_watches.find(found->second.job);
    if (watch != m_watches.end() && watch->second.look == look && !found->second.isHanging)
        m_results.push_back({.look = look, .job = found->second.job, .answer = answer});
    else
        m_looks.erase(found);
    m_wake();
}

void FrameChecks::OnAlarm()
{
    _CallEntry call("FrameChecks::OnAlarm", __FILE__, __LINE__);

    const Moment now = m_clock.Now();
    for (auto &[number, look] : m_looks)
    {
        if (now < look.end || !MayHang(number, look))
            continue;
        look.isHanging = true;
        const auto watch = m_watches.find(look.job);
        if (watch == m_watches.end() || watch->second.look != number)
            continue;
        m_results.push_back({.look = number, .job = look.job, .answer = {}});
        m_results.back().answer.trouble = "the folder of the frames does not answer";
    }
    m_wake();
}

// One that is over may wait for a disk that takes its result.
bool FrameChecks::MayHang(int number, const Look &look) const
{
    _CallEntry call("FrameChecks::MayHang", __FILE__, __LINE__);

    return !look.isHanging &&
           std::ranges::find(m_results, number, &Result::look) == m_results.end();
}

std::vector<FrameChecks::Bad> FrameChecks::Record(Outbox &outbox)
{
    _CallEntry call("FrameChecks::Record", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    std::vector<Bad> bad;
    for (Result &result : m_results)
        if (std::optional<Bad> one = RecordOne(result, outbox))
            bad.push_back(std::move(*one));
    return bad;
}

// Nothing where no frame is bad, or nobody has judged.
std::optional<FrameChecks::Bad> FrameChecks::RecordOne(Result &result, Outbox &outbox)
{
    _CallEntry call("FrameChecks::RecordOne", __FILE__, __LINE__);

    const auto watch = m_watches.find(result.job);
    const std::optional<JobState> state = m_farm.store.FindState(result.job);
    const std::shared_ptr<const JobCache::Entry> entry = m_farm.cache.Get(result.job);
    const std::optional<JobFrames> before =
        state ? m_farm.store.Frames().Find(*state) : std::nullopt;
    // A change of this same turn may have begun anew.
    if (watch == m_watches.end() || watch->second.look != result.look || !before || !entry->job ||
        outbox.FramesToFollow().contains(result.job))
        return std::nullopt;
    result.next = watch->second;
    result.next.look = 0;

    JobFrames after = *before;
    after.trouble.clear();
    if (!result.answer.trouble.empty())
        RecordTrouble(after, result);
    else if (result.answer.isJudged)
        RecordVerdict(*state, *entry->job, after, result.answer, outbox);
    else
        RecordPrint(*entry->job, after, result);
    Save(*state, *before, after, outbox);
    if (!result.answer.isJudged || after.bad == 0)
        return std::nullopt;
    const UID rendered = before->round.IsNil() ? result.job : before->round;
    return Bad{result.job, rendered, WhichAreBad(after),
               FramesOf(rendered, check::AllOf(result.answer.bad)), IsOverWith(after)};
}

// What it renders is its range, whatever is looked for.
SequenceDistributor::Items FrameChecks::FramesOf(const UID &id,
                                                 const SequenceDistributor::Items &numbers)
{
    _CallEntry call("FrameChecks::FramesOf", __FILE__, __LINE__);

    const std::shared_ptr<const JobCache::Entry> entry = m_farm.cache.Get(id);
    std::optional<analysis::ExpansionInput> input =
        entry->job ? analysis::ReadExpansionInput(*entry->job) : std::nullopt;
    if (!input || !SequenceDistributor::ParseRange(entry->job->ParameterText(corvan::p_Range, true),
                                                   input->frames, nullptr))
        return {};
    input->hasCustomRange = false;
    if (!analysis::WritesOtherNumbers(*input, input->frames))
        return numbers;
    return analysis::FindRenderingFrames(*input, numbers, nullptr);
}

void FrameChecks::RecordTrouble(JobFrames &frames, Result &result)
{
    _CallEntry call("FrameChecks::RecordTrouble", __FILE__, __LINE__);

    Watch &next = result.next;
    next.pause = next.pause.count() == 0 ? m_pauses.firstOfJob
                                         : std::min(2 * next.pause, m_pauses.longestOfJob);
    next.due = m_clock.Now() + next.pause;
    next.print.clear();
    next.isPatient = true;
    if (frames.phase != Phase::Failed || next.pause == m_pauses.firstOfJob)
        ostrel::LogWarning("the frames of job " + result.job.ToString() +
                           " could not be looked at: " + result.answer.trouble);
    frames.phase = Phase::Failed;
    frames.trouble = result.answer.trouble;
}

// What is looked at for long is not looked at more often than that; a machine that slept meanwhile
// has not looked for so long.
void FrameChecks::RecordPrint(const Job &job, JobFrames &frames, Result &result)
{
    _CallEntry call("FrameChecks::RecordPrint", __FILE__, __LINE__);

    const auto look = m_looks.find(result.look);
    const Moment now = m_clock.Now();
    const Clock::Moment::duration took =
        look == m_looks.end() ? Clock::Moment::duration(0) : now - look->second.began;
    const std::chrono::seconds quiet(corvan::FrameCheckingOf(job).quietSeconds);
    result.next.print = result.answer.print;
    result.next.due =
        now + std::max<Clock::Moment::duration>(
                  quiet, std::min<Clock::Moment::duration>(took, m_pauses.longestOfJob));
    frames.phase = Phase::Waiting;
}

void FrameChecks::RecordVerdict(const JobState &state, const Job &job, JobFrames &frames,
                                const LookAnswer &answer, Outbox &outbox)
{
    _CallEntry call("FrameChecks::RecordVerdict", __FILE__, __LINE__);

    const SequenceDistributor::Items bad = check::AllOf(answer.bad);
    frames.isJudged = true;
    frames.bad = unsigned(bad.size());
    frames.badRange = SequenceDistributor::CalculateRange(bad);
    if (frames.badRange.size() > k_MostBadRangeBytes)
        frames.badRange.clear();
    frames.counts = answer.counts;
    frames.phase = Requeue(state, job, frames, answer, outbox) ? Phase::Waiting : Phase::Done;
    outbox.FollowFrames(state.id);
    if (!IsOverWith(frames))
        return;
    const String rounds = frames.rounds > 0 ? " after round " + std::to_string(frames.rounds) : "";
    if (bad.empty())
        ostrel::LogStatus("the frames of job " + state.id.ToString() + " are good" + rounds);
    else
        ostrel::LogWarning("frames of job " + state.id.ToString() + " stay bad" + rounds + ": " +
                           corvan::Excerpt(WhichAreBad(frames)));
}

// False where nothing is rendered again.
bool FrameChecks::Requeue(const JobState &state, const Job &job, JobFrames &frames,
                          const LookAnswer &answer, Outbox &outbox)
{
    _CallEntry call("FrameChecks::Requeue", __FILE__, __LINE__);

    if (frames.rounds >= corvan::FrameCheckingOf(job).rounds || answer.areTooMany)
        return false;
    if (!frames.round.IsNil())
    {
        // One that failed has been tried often enough, one that was cancelled is not wanted.
        const std::optional<JobState> last = m_farm.store.FindState(frames.round);
        if (!last || last->status != JobStatus::Done)
            return false;
    }
    const BadFrames before = check::ParseBadFrames(frames.findings).value_or(BadFrames());
    const SequenceDistributor::Items again = check::FindChanged(before, answer.bad);
    if (again.empty())
        return false;
    String reason;
    const std::optional<UID> round = m_requeues.Requeue(state, again, outbox, &reason);
    if (!round)
    {
        ostrel::LogWarning("bad frames of job " + state.id.ToString() +
                           " are not rendered again: " + reason);
        return false;
    }
    ++frames.rounds;
    frames.round = *round;
    frames.findings = check::BadFramesText(answer.bad);
    return true;
}

void FrameChecks::ForgetResults()
{
    _CallEntry call("FrameChecks::ForgetResults", __FILE__, __LINE__);

    for (const Result &result : m_results)
    {
        if (const auto look = m_looks.find(result.look);
            look != m_looks.end() && !look->second.isHanging)
            m_looks.erase(look);
        if (const auto watch = m_watches.find(result.job);
            watch != m_watches.end() && watch->second.look == result.look)
            watch->second = result.next;
    }
    m_results.clear();
}

bool FrameChecks::HasRoom() const
{
    _CallEntry call("FrameChecks::HasRoom", __FILE__, __LINE__);

    const auto hanging = std::size_t(
        std::ranges::count_if(m_looks, [](const auto &look) { return look.second.isHanging; }));
    const std::size_t all = m_looks.size() + m_planned.size();
    return all - hanging < k_MostLooks && all < k_MostLooks + k_MostHanging;
}

// Two never look at the frames of one job.
bool FrameChecks::MayLook(const UID &job, const Watch &watch) const
{
    _CallEntry call("FrameChecks::MayLook", __FILE__, __LINE__);

    return watch.look == 0 &&
           std::ranges::none_of(m_looks, [&](const auto &look) { return look.second.job == job; });
}

// The one that is due for longest.
std::map<UID, FrameChecks::Watch>::iterator FrameChecks::FindNext()
{
    _CallEntry call("FrameChecks::FindNext", __FILE__, __LINE__);

    auto next = m_watches.end();
    for (auto watch = m_watches.begin(); watch != m_watches.end(); ++watch)
        if ((next == m_watches.end() || watch->second.due < next->second.due) &&
            MayLook(watch->first, watch->second))
            next = watch;
    return next;
}

bool FrameChecks::HasDue()
{
    _CallEntry call("FrameChecks::HasDue", __FILE__, __LINE__);

    // What was planned and not begun could not be written.
    return !m_isLoaded || !m_planned.empty() || IsOneDue();
}

bool FrameChecks::IsOneDue()
{
    _CallEntry call("FrameChecks::IsOneDue", __FILE__, __LINE__);

    if (!HasRoom())
        return false;
    const auto next = FindNext();
    return next != m_watches.end() && next->second.due <= m_clock.Now();
}

void FrameChecks::Plan(Outbox &outbox)
{
    _CallEntry call("FrameChecks::Plan", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    for (const Planned &planned : std::exchange(m_planned, {}))
        if (const auto watch = m_watches.find(planned.job);
            watch != m_watches.end() && watch->second.look == planned.look)
            watch->second.look = 0;
    if (!m_isLoaded)
        Load();
    while (IsOneDue())
    {
        const auto next = FindNext();
        PlanOne(next->first, next->second, outbox);
    }
}

void FrameChecks::PlanOne(const UID &id, Watch &watch, Outbox &outbox)
{
    _CallEntry call("FrameChecks::PlanOne", __FILE__, __LINE__);

    const std::optional<JobState> state = m_farm.store.FindState(id);
    const std::shared_ptr<const JobCache::Entry> entry = m_farm.cache.Get(id);
    const std::optional<JobFrames> before =
        state ? m_farm.store.Frames().Find(*state) : std::nullopt;
    const bool isThere = before && entry->job;
    if (!isThere || IsRequeueUnderWay(id, *entry->job, *before))
    {
        watch = {.due = m_clock.Now() + k_look_again, .print = {}, .isPatient = true};
        return;
    }
    watch.isPatient = before->phase == Phase::Failed;
    watch.look = ++m_lastLook;
    Planned planned{.look = watch.look, .job = id, .request = {}, .trouble = {}};
    planned.request = RequestFor(*state, *entry->job, watch, &planned.trouble);
    JobFrames after = *before;
    // Frames that could not be looked at stay so until they have been.
    if (planned.request.depth != LookRequest::Depth::Prints && after.phase == Phase::Waiting)
        after.phase = Phase::Looking;
    Save(*state, *before, after, outbox);
    m_planned.push_back(std::move(planned));
}

bool FrameChecks::IsRequeueUnderWay(const UID &id, const Job &job, const JobFrames &frames)
{
    _CallEntry call("FrameChecks::IsRequeueUnderWay", __FILE__, __LINE__);

    if (!frames.round.IsNil())
        if (const std::optional<JobState> round = m_farm.store.FindState(frames.round);
            round && !corvan::IsOver(round->status))
            return true;
    const UID origin = corvan::OriginOf(job);
    return m_farm.store.Frames().HasActiveRequeue(origin.IsNil() ? id : origin);
}

LookRequest FrameChecks::RequestFor(const JobState &state, const Job &job, const Watch &watch,
                                    String *trouble)
{
    _CallEntry call("FrameChecks::RequestFor", __FILE__, __LINE__);

    const FrameChecking checking = corvan::FrameCheckingOf(job);
    LookRequest request;
    if (checking.quietSeconds == 0 || !watch.print.empty())
        request.depth = DepthOf(checking.kind);
    request.sizeRule = checking.sizeRule;
    request.print = watch.print;
    std::optional<analysis::ExpansionInput> input = analysis::ReadExpansionInput(job);
    if (input)
        request.input = std::move(*input);
    else
        *trouble = "the job has no range";
    for (const Path &format : corvan::ListFormats(job.ParameterText(corvan::p_ImageFormat, true)))
        request.formats.push_back(format.Text());
    // Where all of its tasks have failed nobody has seen any.
    request.wereSeen = job.Type().writesFiles && !request.input.hasCustomRange &&
                       state.tasksFailed < state.tasksTotal;
    return request;
}

void FrameChecks::Start()
{
    _CallEntry call("FrameChecks::Start", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    for (Planned &planned : std::exchange(m_planned, {}))
    {
        if (!m_farm.looker)
            planned.trouble = "this Master has nothing to look with";
        if (!planned.trouble.empty())
        {
            m_results.push_back({.look = planned.look, .job = planned.job, .answer = {}});
            m_results.back().answer.trouble = planned.trouble;
            m_wake();
            continue;
        }
        const Moment now = m_clock.Now();
        m_looks[planned.look] = {planned.job, now,
                                 now + m_farm.looker->LimitOf(planned.request) + k_Grace};
        m_farm.looker->Start(planned.look, planned.request, *this);
    }
}

void FrameChecks::Arm()
{
    _CallEntry call("FrameChecks::Arm", __FILE__, __LINE__);

    if (m_isStopped)
        return;
    std::optional<Moment> next;
    if (const auto watch = FindNext(); watch != m_watches.end() && HasRoom())
        next = watch->second.due;
    for (const auto &[number, look] : m_looks)
        if (MayHang(number, look) && (!next || look.end < *next))
            next = look.end;
    if (next)
        m_alarm->Set(*next, [this] { OnAlarm(); });
    else
        m_alarm->Cancel();
}

bool FrameChecks::IsBusy() const
{
    _CallEntry call("FrameChecks::IsBusy", __FILE__, __LINE__);

    return std::ranges::any_of(m_watches,
                               [](const auto &watch) { return !watch.second.isPatient; });
}

void FrameChecks::Stop()
{
    _CallEntry call("FrameChecks::Stop", __FILE__, __LINE__);

    m_isStopped = true;
    m_alarm->Cancel();
    for (const auto &[number, look] : m_looks)
        m_farm.looker->End(number);
}

} // namespace master
