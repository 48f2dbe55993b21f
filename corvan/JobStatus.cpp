#include "corvan/JobStatus.h"

namespace corvan
{

const char *StatusName(JobStatus status)
{
    switch (status)
    {
    case JobStatus::Queued:
        return "Queued";
    case JobStatus::Running:
        return "Running";
    case JobStatus::Done:
        return "Done";
    case JobStatus::Failed:
        return "Failed";
    case JobStatus::Paused:
        return "Paused";
    case JobStatus::Cancelled:
        return "Cancelled";
    }
    return "";
}

std::optional<JobStatus> ParseStatus(const ostrel::String &text)
{
    if (text.size() != 1 || text[0] < '0' || text[0] > '5')
        return std::nullopt;
    return JobStatus(text[0] - '0');
}

bool IsOver(JobStatus status)
{
    return status == JobStatus::Done || status == JobStatus::Failed ||
           status == JobStatus::Cancelled;
}

} // namespace corvan
