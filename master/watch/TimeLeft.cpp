#include "master/watch/TimeLeft.h"

#include <algorithm>

namespace master
{

namespace
{

constexpr double k_hour = 3600;

} // namespace

std::optional<double> SecondsLeft(const FrameTimes &times, const WorkLeft &left)
{
    const bool isAnythingLeft = !left.running.empty() || left.queuedTasks > 0;
    if (!times.IsEnough() || !isAnythingLeft || left.slots <= 0)
        return std::nullopt;
    double work = left.queuedTasks * left.packetFrames * times.Mean();
    double last = left.queuedTasks > 0 ? left.packetFrames * times.SlowTenth() : 0;
    for (const WorkLeft::Running &task : left.running)
    {
        work += std::max(0.0, task.frames * times.Mean() - task.seconds);
        last = std::max(last, task.frames * times.SlowTenth() - task.seconds);
    }
    return std::max(work / left.slots, last);
}

double FramesPerHour(const FrameTimes &times, double slots)
{
    return times.IsEnough() && times.Mean() > 0 ? slots * k_hour / times.Mean() : 0;
}

} // namespace master
