#include "master/Retention.h"

#include "ostrel/Attempt.h"
#include "ostrel/CallEntry.h"
#include "ostrel/Log.h"

namespace master
{

using ostrel::_CallEntry;
using Milliseconds = std::chrono::milliseconds;

namespace
{

// Between two looks at what has become old, and before what failed is tried again.
constexpr std::chrono::minutes k_period{10};
// Clients wait no longer than a piece of this work takes.
constexpr Milliseconds k_breath{20};
constexpr unsigned k_most_tasks = 20'000;
constexpr int k_most_files = 200;

constexpr std::int64_t k_day_ns = 24LL * 60 * 60 * 1'000'000'000;

} // namespace

Retention::Retention(AlarmClock &clock, const Farm &farm, unsigned keepDays, CarryOut carryOut)
    : m_clock(clock), m_alarm(clock.MakeAlarm()), m_farm(farm), m_keepDays(keepDays),
      m_carryOut(std::move(carryOut))
{
    _CallEntry call("Retention::Retention", __FILE__, __LINE__);

    m_isAwake = true;
    RunAfter(Milliseconds(0));
}

void Retention::Wake()
{
    _CallEntry call("Retention::Wake", __FILE__, __LINE__);

    if (m_isAwake || m_isRemoving || m_isStopped)
        return;
    bool isSomethingLeft = false;
    if (const auto reason =
            ostrel::Attempt([&] { isSomethingLeft = m_farm.store.FindRemoved(UID()).has_value(); }))
        ostrel::LogError(*reason);
    if (!isSomethingLeft)
        return;
    m_isAwake = true;
    RunAfter(k_breath);
}

void Retention::Stop()
{
    _CallEntry call("Retention::Stop", __FILE__, __LINE__);

    m_isStopped = true;
    m_alarm->Cancel();
}

void Retention::RunAfter(Milliseconds pause)
{
    _CallEntry call("Retention::RunAfter", __FILE__, __LINE__);

    m_alarm->Set(m_clock.Now() + pause,
                 [this]
                 {
                     if (!m_isStopped)
                         Run();
                 });
}

void Retention::Run()
{
    _CallEntry call("Retention::Run", __FILE__, __LINE__);

    bool hasMore = false;
    const auto trouble = ostrel::Attempt([&] { hasMore = RemoveOldJobs() == Progress::More; });
    if (trouble)
    {
        ostrel::LogError(*trouble);
        m_farm.cache.Clear();
    }
    m_isAwake = hasMore;
    RunAfter(hasMore ? k_breath : std::chrono::duration_cast<Milliseconds>(k_period));
    if (const auto reason = ostrel::Attempt([&] { RemoveLeftovers(); }))
        ostrel::LogError(*reason);
}

Retention::Progress Retention::RemoveOldJobs()
{
    _CallEntry call("Retention::RemoveOldJobs", __FILE__, __LINE__);

    if (m_keepDays == 0)
        return Progress::Done;
    const ostrel::Time old(ostrel::Time::Now().First() - k_day_ns * m_keepDays);
    if (!m_farm.store.FindFinishedBefore(old))
        return Progress::Done;

    Outbox outbox;
    JobStore::Turn turn(m_farm.store);
    unsigned tasks = 0;
    std::optional<JobState> state;
    for (; tasks < k_most_tasks && (state = m_farm.store.FindFinishedBefore(old));
         tasks += 1 + state->tasksTotal)
        m_farm.dispatcher.TakeAway(*state, outbox);
    turn.Commit();
    m_carryOut(outbox);
    return state ? Progress::More : Progress::Done;
}

void Retention::RemoveLeftovers()
{
    _CallEntry call("Retention::RemoveLeftovers", __FILE__, __LINE__);

    if (m_isRemoving)
        return;
    for (std::optional<UID> job = m_farm.store.FindRemoved(UID()); job;
         job = m_farm.store.FindRemoved(*job))
        // Wakes it again when they have ended.
        if (!m_farm.scheduler.HasRunsOf(*job))
            return RemoveLeftoversOf(*job);
}

void Retention::RemoveLeftoversOf(const UID &job)
{
    _CallEntry call("Retention::RemoveLeftoversOf", __FILE__, __LINE__);

    m_isRemoving = true;
    m_farm.slowWork.Do(
        [this, logs = m_farm.logs, job]
        {
            String reason;
            const TaskLogs::Rest rest = logs.RemoveSome(job, k_most_files, &reason);
            return [this, job, rest, reason] { TakeRest(job, rest, reason); };
        });
}

void Retention::TakeRest(const UID &job, TaskLogs::Rest rest, const String &reason)
{
    _CallEntry call("Retention::TakeRest", __FILE__, __LINE__);

    m_isRemoving = false;
    if (m_isStopped)
        return;
    if (rest == TaskLogs::Rest::Stuck)
        ostrel::LogWarning(reason + "; it stays");
    if (rest != TaskLogs::Rest::Something)
    {
        const auto trouble = ostrel::Attempt(
            [&]
            {
                JobStore::Turn turn(m_farm.store);
                m_farm.store.ForgetRemoved(job);
                turn.Commit();
            });
        // It is tried again when all is looked through the next time.
        if (trouble)
            return ostrel::LogError(*trouble);
    }
    m_isAwake = true;
    RunAfter(k_breath);
}

} // namespace master
