#include "corvan/JobStatus.h"

#include <boost/algorithm/string/predicate.hpp>

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

std::optional<JobStatus> ParseStatusName(const ostrel::String &name)
{
    for (char digit = '0'; const auto status = ParseStatus(ostrel::String(1, digit)); ++digit)
        if (boost::algorithm::iequals(name, StatusName(*status)))
            return status;
    return std::nullopt;
}

bool IsOver(JobStatus status)
{
    return status == JobStatus::Done || status == JobStatus::Failed ||
           status == JobStatus::Cancelled;
}

} // namespace corvan
