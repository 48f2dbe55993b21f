#include "cli/VisitJobs.h"

#include <algorithm>

namespace cli
{

void VisitJobs(Client &client, unsigned limit, const std::function<bool(const JobPointer &)> &visit)
{
    UID before;
    for (unsigned left = limit;;)
    {
        const auto question = NewMessage<corvan::ListJobsMsg>();
        question->limit = left;
        question->before = before;
        const auto part = client.Ask<corvan::JobListMsg>(question);
        if (!std::ranges::all_of(part->jobs, visit))
            return;

        before = part->restBefore;
        if (before.IsNil() || (limit != 0 && left <= part->jobs.size()))
            return;
        if (limit != 0)
            left -= unsigned(part->jobs.size());
    }
}

} // namespace cli
