#include "corvan/JobActions.h"

namespace corvan
{

std::vector<JobAction> ListJobActions(JobStatus status)
{
    if (IsOver(status))
        return {JobAction::RunAgain};
    return {status == JobStatus::Paused ? JobAction::Resume : JobAction::Pause, JobAction::Cancel,
            JobAction::SetPriority};
}

const char *ActionName(JobAction action)
{
    switch (action)
    {
    case JobAction::Pause:
        return "pause";
    case JobAction::Resume:
        return "resume";
    case JobAction::Cancel:
        return "cancel";
    case JobAction::RunAgain:
        return "run-again";
    case JobAction::SetPriority:
        return "priority";
    }
    return "";
}

std::optional<JobStatus> WantedStatus(JobAction action)
{
    switch (action)
    {
    case JobAction::Pause:
        return JobStatus::Paused;
    case JobAction::Resume:
    case JobAction::RunAgain:
        return JobStatus::Queued;
    case JobAction::Cancel:
        return JobStatus::Cancelled;
    case JobAction::SetPriority:
        break;
    }
    return std::nullopt;
}

} // namespace corvan
