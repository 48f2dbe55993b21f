#include "analysis/ScanRules.h"

#include <limits>
#include <string>

#include "ostrel/Log.h"

namespace analysis
{

namespace
{

// A conversion of what does not fit is undefined, so both ends are cut here.
std::uint64_t Truncate(float number)
{
    constexpr float k_beyond = 18446744073709551616.0f; // 2^64
    if (!(number > 0.0f))
        return 0;
    if (number >= k_beyond)
        return std::numeric_limits<std::uint64_t>::max();
    return std::uint64_t(number);
}

const char *ReasonText(FrameState state)
{
    switch (state)
    {
    case FrameState::Ok:
        return "";
    case FrameState::Missing:
        return "Missing";
    case FrameState::TooSmall:
        return "MinSize";
    case FrameState::Outlier:
        return "Neighbors";
    }
    return "";
}

} // namespace

ScanRules RulesOf(const corvan::AnalysisOptions &options)
{
    return {options.minSize, options.frameOffset, options.sizeVariationPercent / 100.0f};
}

RowSpan NeighbourRows(std::int64_t row, std::int64_t rows, int frameOffset)
{
    const std::int64_t lo = std::max<std::int64_t>(row - frameOffset, 0);
    const std::int64_t hi = std::min<std::int64_t>(row + frameOffset + 1, rows);
    if (lo >= hi)
        return {};
    return {lo, hi};
}

std::optional<SizeBand> BandOf(const Neighbours &neighbours, const ScanRules &rules)
{
    if (neighbours.count == 0)
        return std::nullopt;

    const std::uint64_t mean = neighbours.sum / neighbours.count;
    const std::uint64_t tolerance = Truncate(float(mean) * rules.sizeVariation);
    return SizeBand{mean, mean - tolerance, mean + tolerance};
}

bool IsOutside(std::uint64_t size, const std::optional<SizeBand> &band)
{
    return band && (size < band->lowest || size > band->highest);
}

void LogVerdict(const _FileInfo &file, FrameState state)
{
    if (state == FrameState::Ok || !ostrel::LogWanted(ostrel::k_LogInfo))
        return;

    // Most rows of a large table may be bad, each with its line, so the text is kept.
    thread_local std::string line;
    line.assign(file.name.Text()).append(" bad: ").append(ReasonText(state));
    ostrel::LogInfo(line);
}

} // namespace analysis
