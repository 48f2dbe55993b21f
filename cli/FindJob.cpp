#include "cli/FindJob.h"

#include <algorithm>
#include <boost/algorithm/string/case_conv.hpp>
#include <boost/algorithm/string/predicate.hpp>
#include <functional>
#include <vector>

namespace cli
{

namespace
{

constexpr std::size_t k_shortestBeginning = 4;

using Test = std::function<bool(const Job &)>;

// Tells how many jobs pass, and the first that does.
std::pair<std::size_t, JobPointer> Select(std::span<const JobPointer> jobs, const Test &fits)
{
    std::size_t count = 0;
    JobPointer first;
    for (const JobPointer &job : jobs)
    {
        if (!fits(*job))
            continue;
        if (++count == 1)
            first = job;
    }
    return {count, first};
}

} // namespace

std::optional<JobPointer> PickJob(std::span<const JobPointer> jobs, const String &text,
                                  String *reason)
{
    const std::string beginning = boost::algorithm::to_lower_copy(std::string(text));
    const Test begins = [&](const Job &job)
    {
        return beginning.size() >= k_shortestBeginning &&
               boost::algorithm::starts_with(job.ID().ToString(), beginning);
    };
    const Test isNamed = [&](const Job &job) { return job.Name() == text; };

    for (const Test &fits : {begins, isNamed})
    {
        const auto [count, job] = Select(jobs, fits);
        if (count == 1)
            return job;
        if (count > 1)
        {
            *reason =
                std::to_string(count) + " jobs fit '" + text + "'; give more of an identifier";
            return std::nullopt;
        }
    }
    *reason = "no job fits '" + text + "'";
    return std::nullopt;
}

JobPointer FindJob(Client &client, const String &text)
{
    UID id;
    if (id.FromString(text))
    {
        const auto question = NewMessage<corvan::GetJobInfoMsg>();
        question->jobs.push_back(id);
        return client.Ask<corvan::JobMsg>(question)->job;
    }

    const auto list = client.Ask<corvan::JobListMsg>(NewMessage<corvan::ListJobsMsg>());
    String reason;
    const std::optional<JobPointer> job = PickJob(list->jobs, text, &reason);
    if (!job)
        throw new Failure(k_Refused, reason);
    return *job;
}

} // namespace cli
