#include "corvan/AfterJobs.h"

#include <algorithm>
#include <boost/algorithm/string/trim.hpp>
#include <set>

#include "corvan/Utf8.h"

namespace corvan
{

namespace
{

/// What stands between the commas; none of an empty text.
std::vector<String> SplitAtCommas(const String &text)
{
    std::vector<String> parts;
    for (std::size_t begin = 0; !text.empty() && begin <= text.size();)
    {
        const std::size_t end = std::min(text.find(',', begin), text.size());
        parts.emplace_back(
            boost::algorithm::trim_copy(std::string(text.substr(begin, end - begin))));
        begin = end + 1;
    }
    return parts;
}

} // namespace

std::optional<std::vector<UID>> ReadAfterJobs(const String &text)
{
    std::vector<UID> jobs;
    std::set<UID> known;
    for (const String &part : SplitAtCommas(text))
    {
        UID job;
        if (!job.FromString(part))
            return std::nullopt;
        if (known.insert(job).second)
            jobs.push_back(job);
    }
    if (jobs.size() > k_MostAfterJobs)
        return std::nullopt;
    return jobs;
}

String WriteAfterJobs(std::span<const UID> jobs)
{
    String text;
    for (const UID &job : jobs)
        text += (text.empty() ? "" : ",") + job.ToString();
    return text;
}

String CheckAfterJobs(const String &name, const String &text)
{
    const std::vector<String> parts = SplitAtCommas(text);
    for (const String &part : parts)
        if (!UID().FromString(part))
            return name + ": \"" + Excerpt(part) + "\" is no identifier of a job";
    if (parts.size() > k_MostAfterJobs)
        return name + ": a job waits for " + std::to_string(k_MostAfterJobs) +
               " others at most, not for " + std::to_string(parts.size());
    return {};
}

} // namespace corvan
