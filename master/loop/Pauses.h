#pragma once

#include <chrono>

namespace master
{

/// How long the Master waits before it tries something again.
struct Pauses
{
    // A job whose command cannot be started: at first, and after doubling each time at most.
    std::chrono::milliseconds firstOfJob{1'000};
    std::chrono::milliseconds longestOfJob{300'000};
    // A task whose command failed for the first and for the second time.
    std::chrono::milliseconds firstOfTask{5'000};
    std::chrono::milliseconds secondOfTask{30'000};
};

/// How often the Master looks at what runs, and tells what it sees coming.
struct ForesightPace
{
    std::chrono::milliseconds lookEach{5'000};
    std::chrono::milliseconds tellEach{10'000}; ///< Of one job; what is stuck is told at once.
    std::chrono::milliseconds logsEach{20'000}; ///< Whether logs grow.
};

} // namespace master
