#include "cli/DecodeTable.h"

#include <CLI/CLI.hpp>
#include <cassert>

#include "cli/NumberTexts.h"

namespace cli
{

using decode::ImageReport;
using decode::ImageState;

namespace
{

CheckState StateOfImage(ImageState state)
{
    switch (state)
    {
    case ImageState::Ok:
        return CheckState::Ok;
    case ImageState::Undecodable:
        return CheckState::Undecodable;
    case ImageState::OddImage:
        return CheckState::OddImage;
    case ImageState::Nan:
        return CheckState::Nan;
    case ImageState::Blank:
        return CheckState::Blank;
    }
    return CheckState::Ok;
}

} // namespace

void DecodeArguments::Declare(CLI::App &verb)
{
    CLI::Option *wanted = verb.add_flag(
        "--decode", m_isWanted,
        "read every file whole: find images that are damaged, odd, blank or hold NaN");
    const auto add = [&](const char *name, std::string &value, const char *help, long long most)
    { verb.add_option(name, value, help)->check(WholeBetween(1, most))->needs(wanted); };
    add("--decode-jobs", m_jobs, "so many files at a time (one per core)", 1024);
    add("--decode-seconds", m_seconds, "the longest that reading a file may take (60)", 24 * 3600);
    add("--decode-memory", m_memory, "MIB; the most that reading a file may take (4096)", 1 << 20);
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

bool TableDecoder::IsKnown(const ostrel::Path &path, const analysis::FrameRecord &frame) const
{
    const auto seen = m_seen.find(path);
    return seen != m_seen.end() && seen->second.size == frame.size &&
           seen->second.modifiedNs == frame.modified.First();
}

void TableDecoder::Decode(CheckTable &table, int frameOffset, const decode::DecodeLimits &limits,
                          const Progress &progress)
{
    std::vector<std::size_t> rows;
    std::vector<ostrel::Path> paths;
    for (std::size_t row = 0; row < table.frames.size(); ++row)
        if (ostrel::Path path = table.PathOf(row);
            table.frames[row].exists && !IsKnown(path, table.frames[row]))
        {
            rows.push_back(row);
            paths.push_back(std::move(path));
        }

    std::size_t done = 0;
    decode::DecodeFiles(decode::DecoderProgram(), paths, limits,
                        [&](std::size_t file, const ImageReport &report)
                        {
                            const analysis::FrameRecord &frame = table.frames[rows[file]];
                            m_seen[paths[file]] = {frame.size, frame.modified.First(), report};
                            progress(++done, rows.size());
                        });

    std::vector<const ImageReport *> reports(table.frames.size());
    for (std::size_t row = 0; row < reports.size(); ++row)
        if (table.frames[row].exists)
            reports[row] = &m_seen.at(table.PathOf(row)).report;
    AddFindings(table, decode::JudgeImages(reports, frameOffset));
}

void AddFindings(CheckTable &table, std::span<const decode::ImageFinding> findings)
{
    assert(findings.size() == table.states.size() && "a finding a row");
    for (std::size_t row = 0; row < findings.size(); ++row)
    {
        const decode::ImageFinding &finding = findings[row];
        if (table.states[row] == CheckState::Ok)
            table.states[row] = StateOfImage(finding.state);
        if (!finding.detail.empty())
            table.details[row] = finding.detail;
    }
}

} // namespace cli
