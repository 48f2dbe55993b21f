#include "master/requests/Dependences.h"

#include <algorithm>

#include "corvan/AfterJobs.h"
#include "corvan/JobStatus.h"
#include "corvan/Parameters.h"
#include "ostrel/CallEntry.h"
#include "ostrel/Log.h"

namespace master
{

using ostrel::_CallEntry;

namespace
{

const String &ParameterOf(const WaitedFor &other)
{
    return other.wantsGood ? corvan::p_AfterGood : corvan::p_After;
}

// As people see it in a list.
String NameWithId(const String &name, const UID &job)
{
    const String id = job.ToString().substr(0, 8);
    return name.empty() ? id : String(name + " (" + id + ")");
}

} // namespace

bool Dependences::NamesAny(const Job &job)
{
    return !job.ParameterText(corvan::p_After, false).empty() ||
           !job.ParameterText(corvan::p_AfterGood, false).empty();
}

bool Dependences::IsSame(const Job &job, const Job &other)
{
    for (const String &name : {corvan::p_After, corvan::p_AfterGood})
        if (job.ParameterText(name, false) != other.ParameterText(name, false))
            return false;
    return true;
}

// One that is named by both is to be good.
std::vector<WaitedFor> Dependences::ListWaitedFor(const Job &job)
{
    _CallEntry call("Dependences::ListWaitedFor", __FILE__, __LINE__);

    std::vector<WaitedFor> others;
    std::set<UID> known;
    for (const bool wantsGood : {true, false})
    {
        const String text =
            job.ParameterText(wantsGood ? corvan::p_AfterGood : corvan::p_After, false);
        // What an earlier version let pass is no job.
        for (const UID &other : corvan::ReadAfterJobs(text).value_or(std::vector<UID>()))
            if (known.insert(other).second)
                others.push_back({other, wantsGood});
    }
    return others;
}

String Dependences::Check(const Job &job, const Job *before, const JobState *state)
{
    _CallEntry call("Dependences::Check", __FILE__, __LINE__);

    const std::vector<WaitedFor> others = ListWaitedFor(job);
    const std::vector<WaitedFor> known = before ? ListWaitedFor(*before) : std::vector<WaitedFor>();
    const bool hasBegun = state && !corvan::IsOver(state->status) && HasBegun(*state);
    const bool isWaitedFor = !others.empty() && m_store.Waits().IsWaitedFor(job.ID());
    for (const WaitedFor &other : others)
    {
        if (std::ranges::find(known, other) != known.end())
            continue;
        if (String reason = CheckNew(job, other, isWaitedFor); !reason.empty())
            return ParameterOf(other) + ": " + reason;
        if (hasBegun)
            return ParameterOf(other) + ": the job has begun, and what it waits for counts before "
                                        "its first task; cancel it and run it again";
    }
    return {};
}

String Dependences::CheckNew(const Job &job, const WaitedFor &other, bool isWaitedFor)
{
    _CallEntry call("Dependences::CheckNew", __FILE__, __LINE__);

    if (other.job == job.ID())
        return "a job cannot wait for itself";
    if (!m_store.FindState(other.job))
        return "there is no job " + other.job.ToString();
    if (isWaitedFor && m_store.Waits().WaitsFor(other.job, job.ID()))
        return Describe(other.job) + " waits for this job, by way of others or not";
    String bad;
    if (other.wantsGood && FramesOf(other.job, &bad) == Frames::NotChecked)
        return "nobody checks the frames of " + Describe(other.job) +
               ", so they are never found good; set its CheckFrames, or wait for it by After";
    return {};
}

void Dependences::Keep(const Job &job, const JobState &state, Outbox &outbox)
{
    _CallEntry call("Dependences::Keep", __FILE__, __LINE__);

    const std::vector<WaitedFor> others = ListWaitedFor(job);
    m_store.Waits().Replace(state, others);
    // Nothing stirs it any more.
    std::optional<JobState> present = m_store.FindState(state.id);
    if (others.empty() && present)
        Look(*present, outbox);
}

void Dependences::NoteRemoval(const JobState &state)
{
    _CallEntry call("Dependences::NoteRemoval", __FILE__, __LINE__);

    if (!m_store.Waits().IsWaitedFor(state.id))
        return;
    const bool isDone = state.status == JobStatus::Done;
    String bad;
    const bool isGood = isDone && FramesOf(state.id, &bad) == Frames::Good;
    const auto entry = m_cache.Get(state.id);
    m_store.Waits().NoteRemoval(state.id, entry->job ? entry->job->Name() : String(), isDone,
                                isGood);
}

bool Dependences::Follow(Outbox &outbox)
{
    _CallEntry call("Dependences::Follow", __FILE__, __LINE__);

    const std::vector<UID> jobs = m_store.Waits().ListStirred(k_at_once);
    for (const UID &job : jobs)
        if (std::optional<JobState> state = m_store.FindState(job))
            Look(*state, outbox);
    return jobs.size() == k_at_once;
}

bool Dependences::HasBegun(const JobState &state)
{
    _CallEntry call("Dependences::HasBegun", __FILE__, __LINE__);

    return state.nextTask > 0 || m_store.Tasks().HasAny(state);
}

void Dependences::Look(JobState &state, Outbox &outbox)
{
    _CallEntry call("Dependences::Look", __FILE__, __LINE__);

    const bool wasTold = m_store.Waits().HoldOf(state) == WaitStore::Hold::Told;
    const String reason = HasBegun(state) ? String() : FindReason(state);
    // Of one that is paused or over nobody asks why it does not go on.
    const bool tells = !reason.empty() &&
                       (state.status == JobStatus::Queued || state.status == JobStatus::Running);
    m_store.Waits().Settle(state, reason.empty() ? WaitStore::Hold::None
                                  : tells        ? WaitStore::Hold::Told
                                                 : WaitStore::Hold::Untold);
    // What else keeps it from going on is not ours to take back.
    if ((!tells && !wasTold) || state.waiting == (tells ? reason : String()))
        return;
    state.waiting = tells ? reason : String();
    outbox.Tell(state.id, corvan::p_Waiting, state.waiting);
    ostrel::LogInfo("job " + state.id.ToString() +
                    (tells ? " waits " + reason : std::string(" waits for no other job")));
    m_store.SaveState(state);
}

// For what it waits; empty where it may begin. One that somebody has to see to goes before the
// others.
String Dependences::FindReason(const JobState &state)
{
    _CallEntry call("Dependences::FindReason", __FILE__, __LINE__);

    String first;
    bool isHelpTold = false;
    unsigned count = 0;
    for (const WaitedFor &other : m_store.Waits().List(state))
    {
        bool wantsHelp = false;
        const String reason = ReasonOf(other, &wantsHelp);
        if (reason.empty())
            continue;
        ++count;
        if (count > 1 && (isHelpTold || !wantsHelp))
            continue;
        first = reason;
        isHelpTold = wantsHelp;
    }
    if (count < 2)
        return first;
    return first + "; and for " + std::to_string(count - 1) + (count == 2 ? " other" : " others");
}

String Dependences::ReasonOf(const WaitedFor &other, bool *wantsHelp)
{
    _CallEntry call("Dependences::ReasonOf", __FILE__, __LINE__);

    if (!other.status)
    {
        *wantsHelp = !other.wasMet;
        if (other.wasMet)
            return {};
        return "for " + NameWithId(other.name, other.job) + ", which was removed before it was " +
               (other.wantsGood ? "found good" : "done") + "; take it out of " +
               ParameterOf(other) + " to have this job begin";
    }
    const String name = Describe(other.job);
    switch (*other.status)
    {
    case JobStatus::Queued:
    case JobStatus::Running:
        return "for " + name;
    case JobStatus::Paused:
        *wantsHelp = true;
        return "for " + name + ", which is paused";
    case JobStatus::Failed:
        *wantsHelp = true;
        return "for " + name + ", which has failed";
    case JobStatus::Cancelled:
        *wantsHelp = true;
        return "for " + name + ", which was cancelled";
    case JobStatus::Done:
        break;
    }
    if (!other.wantsGood)
        return {};
    String bad;
    switch (FramesOf(other.job, &bad))
    {
    case Frames::Good:
        break;
    case Frames::NotYet:
        return "for the check of the frames of " + name;
    case Frames::Bad:
        *wantsHelp = true;
        return "for good frames of " + name + ", of which " + bad + " are bad";
    case Frames::NotChecked:
        *wantsHelp = true;
        return "for good frames of " + name + ", which nobody checks";
    }
    return {};
}

// How many are bad goes to `*bad`.
Dependences::Frames Dependences::FramesOf(const UID &id, String *bad)
{
    _CallEntry call("Dependences::FramesOf", __FILE__, __LINE__);

    String reason;
    const std::optional<JobState> state = m_store.FindState(id);
    const boost::shared_ptr<Job> job = state ? m_cache.Whole(*state, &reason) : nullptr;
    if (!job)
        return Frames::NotYet;
    const String asked = job->ParameterText(corvan::p_CheckFrames, true);
    if (asked.empty() || asked == "none")
        return Frames::NotChecked;
    const String checked = job->ParameterText(corvan::p_FramesChecked, false);
    // Those of a requeue are its origin's.
    if (checked.empty())
        return Frames::NotChecked;
    if (checked != "done")
        return Frames::NotYet;
    *bad = job->ParameterText(corvan::p_FramesBad, false);
    return *bad == "0" ? Frames::Good : Frames::Bad;
}

String Dependences::Describe(const UID &job)
{
    _CallEntry call("Dependences::Describe", __FILE__, __LINE__);

    const auto entry = m_cache.Get(job);
    return NameWithId(entry->job ? entry->job->Name() : String(), job);
}

} // namespace master
