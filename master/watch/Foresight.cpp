#include "master/watch/Foresight.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "corvan/JobType.h"
#include "corvan/Parameters.h"
#include "corvan/SequenceDistributor.h"
#include "master/schedule/FrameTimes.h"
#include "master/watch/TimeLeft.h"
#include "ostrel/CallEntry.h"
#include "ostrel/Log.h"

namespace master
{

using ostrel::_CallEntry;

namespace
{

// How long ago the number of slots counts, by and by, no more.
constexpr double k_slots_memory = 60;
// Between two tasks nothing runs for a moment; with less than this nothing has for most of a
// minute.
constexpr double k_least_slots = 0.5;
// An expected end is another one where it is off by so much, and by so large a part of the rest.
constexpr double k_least_shift = 30;
constexpr double k_least_part = 0.05;
constexpr std::size_t k_most_stuck_bytes = 500;
constexpr std::int64_t k_second_ns = 1'000'000'000;

String IsoText(std::int64_t secondsSince1970)
{
    return ostrel::Time(secondsSince1970 * k_second_ns).Format("%Y-%m-%dT%H:%M:%SZ", false, true);
}

std::int64_t WallSeconds(double ahead)
{
    return ostrel::Time::Now().First() / k_second_ns + std::int64_t(std::llround(ahead));
}

String StuckText(const std::map<unsigned, String> &stuck)
{
    if (stuck.empty())
        return {};
    corvan::SequenceDistributor::Items numbers;
    for (const auto &[task, why] : stuck)
        numbers.insert(int(task));
    String text = corvan::SequenceDistributor::CalculateRange(numbers);
    if (text.size() <= k_most_stuck_bytes)
        return text;
    return text.substr(0, text.rfind(',', k_most_stuck_bytes)) + ",...";
}

double FramesOfPacket(const std::vector<Packet> &packets)
{
    double frames = 0;
    for (const Packet &packet : packets)
        frames += double(packet.lastFrame) - packet.firstFrame + 1;
    return packets.empty() ? 1 : frames / double(packets.size());
}

} // namespace

Foresight::Foresight(JobStore &store, JobCache &cache, const Scheduler &scheduler,
                     const Clock &clock, std::unique_ptr<LogLooks> looks, const ForesightPace &pace)
    : m_store(store), m_cache(cache), m_scheduler(scheduler), m_clock(clock),
      m_looks(std::move(looks)), m_pace(pace)
{
    _CallEntry call("Foresight::Foresight", __FILE__, __LINE__);
}

bool Foresight::HasMore() const
{
    _CallEntry call("Foresight::HasMore", __FILE__, __LINE__);

    return !m_jobs.empty() || m_scheduler.HasRuns();
}

Foresight::Seen Foresight::Look(Outbox &outbox)
{
    _CallEntry call("Foresight::Look", __FILE__, __LINE__);

    std::map<UID, Runs> runs;
    for (Scheduler::StartedRun &run : m_scheduler.ListStarted())
        runs[run.job].push_back(std::move(run));
    TakeLogs();
    LookAtLogs(runs);

    std::set<UID> jobs;
    for (const auto &[job, itsRuns] : runs)
        jobs.insert(job);
    for (const auto &[job, followed] : m_jobs)
        jobs.insert(job);
    Seen seen;
    for (const UID &job : jobs)
        FollowJob(job, runs[job], seen, outbox);
    return seen;
}

void Foresight::TakeLogs()
{
    _CallEntry call("Foresight::TakeLogs", __FILE__, __LINE__);

    if (!m_looks)
        return;
    const auto all = m_looks->TakeResult();
    if (!all)
        return;
    const Clock::Moment now = m_clock.Now();
    std::map<int, Log> logs;
    for (const LogLooks::Seen &seen : *all)
    {
        const auto known = m_logs.find(seen.run);
        const bool isSame = known != m_logs.end() && known->second.seen == seen;
        logs[seen.run] = {seen, isSame ? known->second.since : now};
    }
    m_logs = std::move(logs);
}

void Foresight::LookAtLogs(const std::map<UID, Runs> &runs)
{
    _CallEntry call("Foresight::LookAtLogs", __FILE__, __LINE__);

    if (!m_looks || m_looks->IsLooking() || m_clock.Now() < m_nextLogs)
        return;
    std::vector<LogLooks::Asked> asked;
    for (const auto &[job, itsRuns] : runs)
    {
        const std::shared_ptr<const JobCache::Entry> entry = m_cache.Get(job);
        if (entry->job && entry->job->Type().stuck.silentSeconds > 0)
            for (const Scheduler::StartedRun &run : itsRuns)
                asked.push_back({run.run, run.log});
    }
    m_nextLogs = m_clock.Now() + m_pace.logsEach;
    if (asked.empty())
        m_logs.clear();
    else
        m_looks->Begin(std::move(asked));
}

// One that is empty tells nothing: many commands print nothing.
std::optional<std::chrono::seconds> Foresight::SilentFor(int run) const
{
    _CallEntry call("Foresight::SilentFor", __FILE__, __LINE__);

    const auto found = m_logs.find(run);
    if (found == m_logs.end() || found->second.seen.bytes <= 0)
        return std::nullopt;
    return std::chrono::duration_cast<std::chrono::seconds>(m_clock.Now() - found->second.since);
}

void Foresight::FollowJob(const UID &id, const Runs &runs, Seen &seen, Outbox &outbox)
{
    _CallEntry call("Foresight::FollowJob", __FILE__, __LINE__);

    const std::optional<JobState> state = m_store.FindState(id);
    if (!state)
    {
        m_jobs.erase(id);
        return;
    }
    const auto [found, isNew] = m_jobs.try_emplace(id);
    Followed &job = found->second;
    if (isNew)
    {
        job.slots = double(runs.size());
        job.sampled = m_clock.Now();
        job.nextTelling = m_clock.Now();
    }
    FollowSlots(job, runs.size());
    FindStuck(*state, runs, job, seen);
    Estimate(*state, runs, job);
    Tell(*state, job, outbox);
    if (runs.empty() && !job.told.contains(corvan::p_ExpectedEnd) &&
        !job.told.contains(corvan::p_FramesPerHour))
        m_jobs.erase(found);
}

void Foresight::FollowSlots(Followed &job, std::size_t running)
{
    _CallEntry call("Foresight::FollowSlots", __FILE__, __LINE__);

    const Clock::Moment now = m_clock.Now();
    const double passed =
        std::chrono::duration<double>(now - std::exchange(job.sampled, now)).count();
    // From nothing, it is all that is known.
    if (job.slots < k_least_slots)
        job.slots = double(running);
    else
        job.slots += (double(running) - job.slots) * (1 - std::exp(-passed / k_slots_memory));
}

void Foresight::FindStuck(const JobState &state, const Runs &runs, Followed &job, Seen &seen)
{
    _CallEntry call("Foresight::FindStuck", __FILE__, __LINE__);

    const auto before = std::exchange(job.stuck, {});
    const std::shared_ptr<const JobCache::Entry> entry = m_cache.Get(state.id);
    if (!entry->job)
        return;
    const corvan::StuckLimits &limits = entry->job->Type().stuck;
    const FrameTimes times = FrameTimes::Parse(state.frameTimes);
    for (const Scheduler::StartedRun &run : runs)
    {
        RunningTime running;
        running.seconds =
            std::chrono::duration_cast<std::chrono::seconds>(m_clock.Now() - run.since);
        running.frames = run.frames;
        running.silent = SilentFor(run.run);
        const String why = WhyStuck(limits, times, running);
        if (why.empty())
            continue;
        job.stuck[run.task] = why;
        if (limits.ends)
            seen.endings.push_back({run.run, "it was ended since " + why});
    }
    const auto isNew = std::ranges::find_if(job.stuck, [&](const auto &one)
                                            { return !before.contains(one.first); });
    if (isNew != job.stuck.end())
        seen.stuck.push_back(
            {state.id, "task " + std::to_string(isNew->first) + ", " + isNew->second});
}

void Foresight::Estimate(const JobState &state, const Runs &runs, Followed &job)
{
    _CallEntry call("Foresight::Estimate", __FILE__, __LINE__);

    job.endsIn.reset();
    job.perHour = 0;
    if (state.status != JobStatus::Running || job.slots < k_least_slots)
        return;
    if (job.tasksTotal != state.tasksTotal)
    {
        job.packetFrames = FramesOfPacket(m_cache.GetCut(state.id)->packets);
        job.tasksTotal = state.tasksTotal;
    }
    const FrameTimes times = FrameTimes::Parse(state.frameTimes);
    WorkLeft left;
    left.queuedTasks = std::max(0.0, double(state.tasksTotal) - state.tasksDone -
                                         state.tasksFailed - double(runs.size()));
    left.packetFrames = job.packetFrames;
    left.slots = job.slots;
    for (const Scheduler::StartedRun &run : runs)
        left.running.push_back(
            {std::chrono::duration<double>(m_clock.Now() - run.since).count(), double(run.frames)});
    job.endsIn = SecondsLeft(times, left);
    job.perHour = FramesPerHour(times, job.slots);
}

void Foresight::Tell(const JobState &state, Followed &job, Outbox &outbox)
{
    _CallEntry call("Foresight::Tell", __FILE__, __LINE__);

    const auto tell = [&](const String &name, const String &value)
    {
        String &told = job.told[name];
        if (std::exchange(told, value) != value)
            outbox.Tell(state.id, name, value);
        if (value.empty())
            job.told.erase(name);
    };
    tell(corvan::p_StuckTasks, StuckText(job.stuck));
    const bool isLast = state.status != JobStatus::Running;
    if (m_clock.Now() < job.nextTelling && !isLast)
        return;
    job.nextTelling = m_clock.Now() + m_pace.tellEach;

    const FrameTimes times = FrameTimes::Parse(state.frameTimes);
    const bool isKnown = times.IsEnough() || (times.Tasks() > 0 && corvan::IsOver(state.status));
    tell(corvan::p_FrameSeconds, isKnown ? SecondsText(times.Median()) : String());
    tell(corvan::p_FrameSecondsSlowest, isKnown ? SecondsText(times.Slowest()) : String());
    tell(corvan::p_FramesPerHour, job.perHour > 0 ? SecondsText(job.perHour) : String());
    if (!job.endsIn)
    {
        job.toldEnd.reset();
        return tell(corvan::p_ExpectedEnd, {});
    }
    const std::int64_t end = WallSeconds(*job.endsIn);
    const double shift = job.toldEnd ? std::abs(double(end - *job.toldEnd)) : 0;
    if (job.toldEnd && shift < std::max(k_least_shift, k_least_part * *job.endsIn))
        return;
    job.toldEnd = end;
    tell(corvan::p_ExpectedEnd, IsoText(end));
}

void Foresight::AddTo(const JobState &state, Job &job) const
{
    _CallEntry call("Foresight::AddTo", __FILE__, __LINE__);

    const FrameTimes times = FrameTimes::Parse(state.frameTimes);
    if (times.IsEnough() || (times.Tasks() > 0 && corvan::IsOver(state.status)))
    {
        job.SetParameter(corvan::p_FrameSeconds, SecondsText(times.Median()));
        job.SetParameter(corvan::p_FrameSecondsSlowest, SecondsText(times.Slowest()));
    }
    const auto found = m_jobs.find(state.id);
    if (found == m_jobs.end() || corvan::IsOver(state.status))
        return;
    const Followed &followed = found->second;
    if (!followed.stuck.empty())
        job.SetParameter(corvan::p_StuckTasks, StuckText(followed.stuck));
    if (state.status != JobStatus::Running)
        return;
    if (followed.perHour > 0)
        job.SetParameter(corvan::p_FramesPerHour, SecondsText(followed.perHour));
    // As its followers were told it.
    if (followed.toldEnd)
        job.SetParameter(corvan::p_ExpectedEnd, IsoText(*followed.toldEnd));
}

void Foresight::Mark(const UID &job, std::map<unsigned, RunPlace> &places) const
{
    _CallEntry call("Foresight::Mark", __FILE__, __LINE__);

    const auto found = m_jobs.find(job);
    if (found == m_jobs.end())
        return;
    for (const auto &[task, why] : found->second.stuck)
    {
        RunPlace &place = places[task];
        place.isStarted = true;
        place.stuck = why;
    }
}

std::size_t Foresight::CountStuck(const UID &job) const
{
    _CallEntry call("Foresight::CountStuck", __FILE__, __LINE__);

    const auto found = m_jobs.find(job);
    return found == m_jobs.end() ? 0 : found->second.stuck.size();
}

} // namespace master
