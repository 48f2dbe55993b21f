#include "check/LookAgain.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <vector>

#include "analysis/FileCheck.h"
#include "ostrel/Time.h"

namespace check
{

using analysis::FrameRecord;

namespace
{

constexpr std::int64_t k_second = 1'000'000'000;
/// So that files of one folder are looked at together.
constexpr std::int64_t k_shortest_wait = k_second / 10;

/// A frame that is waited for.
struct Waiting
{
    FrameRecord *frame;
    unsigned retries;       ///< Left, should it be missing.
    std::int64_t unchanged; ///< Seen as it is now since then.
    std::int64_t due = 0;   ///< When to look again.
};

/// Sets when to look again; false when there is no need to.
bool MustWait(Waiting &waiting, const LookAgainRules &rules, std::int64_t now)
{
    const FrameRecord &frame = *waiting.frame;
    if (!frame.exists)
    {
        waiting.due = now + k_second;
        return waiting.retries > 0;
    }
    // What lies in the future is no age.
    const std::int64_t changed =
        frame.modified.First() > now ? waiting.unchanged : frame.modified.First();
    waiting.due = std::min(changed, waiting.unchanged) + rules.stableAfterNs;
    return rules.stableAfterNs > 0 && waiting.due > now;
}

void TakeNews(Waiting &waiting, const FrameRecord &seen, std::int64_t now)
{
    const FrameRecord &before = *waiting.frame;
    if (!before.exists && waiting.retries > 0)
        --waiting.retries;
    if (analysis::IsNews(before, seen))
        waiting.unchanged = now;
    *waiting.frame = seen;
}

} // namespace

std::int64_t SystemClock::Now()
{
    return ostrel::Time::Now().First();
}

void SystemClock::SleepUntil(std::int64_t moment)
{
    const timespec until{moment / k_second, moment % k_second};
    while (clock_nanosleep(CLOCK_REALTIME, TIMER_ABSTIME, &until, nullptr) == EINTR)
    {
    }
}

String LookAgain(std::span<FrameRecord> frames, const LookAgainRules &rules, LookClock &clock,
                 const LookAtSome &look)
{
    if (rules.stableAfterNs == 0 && rules.retriesOfMissing == 0)
        return {};

    std::vector<Waiting> waiting;
    std::int64_t now = clock.Now();
    for (FrameRecord &frame : frames)
        if (Waiting one{&frame, rules.retriesOfMissing, now}; MustWait(one, rules, now))
            waiting.push_back(one);

    while (!waiting.empty())
    {
        const auto first =
            std::min_element(waiting.begin(), waiting.end(),
                             [](const Waiting &a, const Waiting &b) { return a.due < b.due; });
        clock.SleepUntil(std::max(first->due, now + k_shortest_wait));
        now = clock.Now();

        const auto due = std::partition(waiting.begin(), waiting.end(),
                                        [now](const Waiting &one) { return one.due > now; });
        std::vector<FrameRecord> seen;
        for (auto one = due; one != waiting.end(); ++one)
            seen.push_back(*one->frame);
        if (String reason = look(seen); !reason.empty())
            return reason;

        auto kept = due;
        for (auto one = due; one != waiting.end(); ++one)
        {
            TakeNews(*one, seen[std::size_t(one - due)], now);
            if (MustWait(*one, rules, now))
                *kept++ = *one;
        }
        waiting.erase(kept, waiting.end());
    }
    return {};
}

} // namespace check
