#include "corvan/RunLimits.h"

#include <algorithm>
#include <charconv>
#include <string_view>

#include "corvan/Job.h"
#include "corvan/JobType.h"
#include "corvan/Utf8.h"

namespace corvan
{

namespace
{

constexpr unsigned k_many = 1'000'000'000;

constexpr RunLimitName k_limits[] = {
    {"MaxSeconds", &RunLimits::seconds, 1, k_many, false},
    {"MaxMemoryMB", &RunLimits::memoryMb, 1, k_many, false},
    {"MaxProcesses", &RunLimits::processes, 1, k_many, false},
    {"MaxLogMB", &RunLimits::logMb, 1, 100'000, false},
    {"Nice", &RunLimits::nice, 0, 19, true},
    {"MaxProcessors", &RunLimits::processors, 1, 10'000, false},
};

} // namespace

std::span<const RunLimitName> RunLimitNames()
{
    return k_limits;
}

const RunLimitName *FindRunLimit(const String &name)
{
    const auto found = std::ranges::find(k_limits, std::string_view(name), &RunLimitName::name);
    return found == std::end(k_limits) ? nullptr : found;
}

String CheckRunLimit(const RunLimitName &limit, const String &text)
{
    if (text.empty())
        return {};
    unsigned number = 0;
    const char *const end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, number);
    if (error == std::errc() && stopped == end && number >= limit.least && number <= limit.most)
        return {};
    return String(limit.name) + ": \"" + Excerpt(text) + "\" is not a whole number from " +
           std::to_string(limit.least) + " to " + std::to_string(limit.most);
}

unsigned ReadRunLimit(const String &text)
{
    unsigned number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

RunLimits RunLimitsOf(const Job &job)
{
    RunLimits limits = job.Type().limits;
    for (const RunLimitName &limit : k_limits)
    {
        const String text = job.ParameterText(limit.name, true);
        // What an earlier version let pass is no limit.
        if (text.empty() || !CheckRunLimit(limit, text).empty())
            continue;
        const unsigned wish = ReadRunLimit(text);
        unsigned &value = limits.*limit.value;
        if (limit.isTighterAbove)
            value = std::max(value, wish);
        else
            value = value == 0 ? wish : std::min(value, wish);
    }
    return limits;
}

} // namespace corvan
