#include "cli/DecodeArguments.h"

#include <CLI/CLI.hpp>

#include "cli/NumberTexts.h"

namespace cli
{

void DecodeArguments::Declare(CLI::App &verb)
{
    CLI::Option *wanted = verb.add_flag(
        "--decode", m_isWanted,
        "read every file whole: find images that are damaged, odd, blank or hold NaN");
    const auto add =
        [&](const char *name, std::string &value, const char *help, long long least, long long most)
    { verb.add_option(name, value, help)->check(WholeBetween(least, most))->needs(wanted); };
    add("--decode-jobs", m_jobs, "so many files at a time (one per core)", 1, 1024);
    add("--decode-seconds", m_seconds, "the longest that reading a file may take (60)", 1,
        24 * 3600);
    add("--decode-memory", m_memory, "MIB; the most that reading a file may take (4096)",
        decode::k_LeastMemoryMib, 1 << 20);
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
