#include "master/watch/StuckRule.h"

#include <cstdio>

namespace master
{

namespace
{

String TimesText(double times)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.0f", times);
    return text;
}

} // namespace

String SpanText(std::chrono::seconds span)
{
    const long long all = span.count();
    char text[64];
    if (all >= 3600)
        std::snprintf(text, sizeof text, "%lld:%02lld:%02lld", all / 3600, all / 60 % 60, all % 60);
    else
        std::snprintf(text, sizeof text, "%lld:%02lld", all / 60, all % 60);
    return text;
}

String WhyStuck(const corvan::StuckLimits &limits, const FrameTimes &fellows,
                const RunningTime &task)
{
    using Seconds = std::chrono::seconds;

    const double slow = fellows.SlowTenth() * task.frames;
    const auto ran = double(task.seconds.count());
    if (limits.slowTimes > 0 && fellows.IsEnough() && task.seconds >= Seconds(limits.slowSeconds) &&
        ran > limits.slowTimes * slow)
        return "it runs for " + SpanText(task.seconds) + ", " +
               (slow > 0 ? TimesText(ran / slow) + " times as long as " : String("longer than ")) +
               "the slowest tenth of the others";
    if (limits.silentSeconds > 0 && task.silent && *task.silent >= Seconds(limits.silentSeconds))
        return "it has printed nothing for " + SpanText(*task.silent);
    return {};
}

} // namespace master
