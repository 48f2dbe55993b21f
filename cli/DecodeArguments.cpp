#include "cli/DecodeArguments.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "cli/Failure.h"
#include "cli/NumberTexts.h"

namespace cli
{

void DecodeArguments::Declare(CLI::App &verb)
{
    verb.add_flag("--decode", m_isWanted,
                  "read every file whole: find images that are damaged, odd, blank or hold NaN");
    verb.add_flag(
        "--pictures", m_arePicturesWanted,
        "hold what is seen in each image against those before and after, too: find duplicates, "
        "black frames, patches, jumps and sparks; reads every file whole, as --decode does");
    const auto add =
        [&](const char *name, std::string &value, const char *help, long long least, long long most)
    { verb.add_option(name, value, help)->check(WholeBetween(least, most))->type_name("N"); };
    add("--decode-jobs", m_jobs, "so many files at a time (one per core)", 1, 1024);
    add("--decode-seconds", m_seconds, "the longest that reading a file may take (60)", 1,
        24 * 3600);
    add("--decode-memory", m_memory, "the most MiB that reading a file may take (4096)",
        decode::k_LeastMemoryMib, 1 << 20);
    add("--nan-limit", m_nanLimit, "so many pixels of an image may hold NaN or infinite values (0)",
        0, 1LL << 40);
    verb.add_flag("--no-negative", m_isNegativeBad,
                  "negative values of a colour are a fault, too: state nan");
}

void DecodeArguments::NeedWish() const
{
    if (IsWanted())
        return;
    const std::pair<const char *, bool> given[] = {{"--nan-limit", !m_nanLimit.empty()},
                                                   {"--no-negative", m_isNegativeBad},
                                                   {"--decode-jobs", !m_jobs.empty()},
                                                   {"--decode-seconds", !m_seconds.empty()},
                                                   {"--decode-memory", !m_memory.empty()}};
    for (const auto &[name, isGiven] : given)
        if (isGiven)
            throw new Failure(k_WrongUsage,
                              fmt::format("{} goes with --decode or --pictures", name));
}

decode::NumberRules DecodeArguments::Numbers() const
{
    decode::NumberRules rules;
    if (!m_nanLimit.empty())
        rules.nanLimit = std::uint64_t(*ReadWhole(m_nanLimit));
    rules.isNegativeBad = m_isNegativeBad;
    return rules;
}

decode::DecodeLimits DecodeArguments::Limits() const
{
    decode::DecodeLimits limits;
    if (!m_jobs.empty())
        limits.jobs = unsigned(*ReadWhole(m_jobs));
    if (!m_seconds.empty())
        limits.time = std::chrono::seconds(*ReadWhole(m_seconds));
    if (!m_memory.empty())
        limits.memoryMib = unsigned(*ReadWhole(m_memory));
    return limits;
}

} // namespace cli
