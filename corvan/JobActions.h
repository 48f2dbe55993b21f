#pragma once

#include <optional>
#include <vector>

#include "corvan/JobStatus.h"

namespace corvan
{

/// What a user can ask of the Master for a job. The window's menu, the page and scripts offer
/// these.
enum class JobAction
{
    Pause,
    Resume,
    Cancel,
    RunAgain,
    SetPriority,
};

constexpr int k_LowestPriority = 0;
constexpr int k_HighestPriority = 100;
constexpr int k_PriorityStep = 10; ///< By which people raise and lower it.

/// What makes sense for a job in this status, in the order in which it is shown. The Master may
/// refuse it all the same: the job may be another by then, or the user may lack the right.
std::vector<JobAction> ListJobActions(JobStatus status);

/// "pause", "resume", "cancel", "run-again", "priority": as the interface for scripts has them.
const char *ActionName(JobAction action);

/// The status that the Master is asked for; nothing for `SetPriority`, which asks for a "Priority".
std::optional<JobStatus> WantedStatus(JobAction action);

} // namespace corvan
