#pragma once

#include <optional>
#include <vector>

#include "master/schedule/FrameTimes.h"

namespace master
{

/// What is still to be done of a job.
struct WorkLeft
{
    double queuedTasks = 0;  ///< That nobody renders yet,
    double packetFrames = 1; ///< each of so many frames.
    struct Running
    {
        double seconds = 0; ///< So long by now.
        double frames = 1;
    };
    std::vector<Running> running{};
    double slots = 0; ///< How many tasks run at a time, as it has been lately.
};

/// How many seconds it takes, going on as it does. Nothing where too little is known of its
/// frames, where nothing is left, and where nothing has run lately: nobody knows when it goes on.
///
/// A task takes what is usual; the last ones, which nobody else can help with, are taken for slow
/// ones, since the slowest of them decides.
std::optional<double> SecondsLeft(const FrameTimes &times, const WorkLeft &left);

/// How many frames an hour so many slots come to; 0 where too little is known.
double FramesPerHour(const FrameTimes &times, double slots);

} // namespace master
