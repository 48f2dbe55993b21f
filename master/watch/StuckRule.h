#pragma once

#include <chrono>
#include <optional>

#include "corvan/JobType.h"
#include "master/schedule/FrameTimes.h"

namespace master
{

/// A task that runs.
struct RunningTime
{
    std::chrono::seconds seconds{0};
    unsigned frames = 1;
    /// Since when its log has not changed; nothing where it has printed nothing, or nobody knows.
    std::optional<std::chrono::seconds> silent;
};

/// Why a task is taken to be stuck, as half a sentence: "it runs for 1:02:00, ...". Empty where it
/// is not. What its fellows take counts once enough of them are done.
String WhyStuck(const corvan::StuckLimits &limits, const FrameTimes &fellows,
                const RunningTime &task);

/// "0:07", "12:30", "1:02:00".
String SpanText(std::chrono::seconds span);

} // namespace master
