#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>

#include "analysis/FileInfo.h"
#include "corvan/AnalysisOptions.h"

namespace analysis
{

/// What is wrong with a frame file, if anything.
enum class FrameState
{
    Ok,
    Missing,
    TooSmall, ///< Below the smallest acceptable size.
    Outlier,  ///< Far smaller or larger than the rows around it.
};

/// When a file counts as bad: what judges of the analysis options.
struct ScanRules
{
    /// Smallest acceptable size, in bytes.
    unsigned minSize = corvan::AnalysisOptions().minSize;
    /// Rows on each side that form a row's neighbourhood.
    int frameOffset = corvan::AnalysisOptions().frameOffset;
    /// Allowed deviation from their mean, as a fraction.
    float sizeVariation = corvan::AnalysisOptions().sizeVariationPercent / 100.0f;

    bool operator==(const ScanRules &) const = default;
};

/// The rules of some settings.
ScanRules RulesOf(const corvan::AnalysisOptions &options);

/// Sizes of the rows around a row that exist and are not too small. The sum wraps at 64 bits.
struct Neighbours
{
    std::uint64_t sum = 0;
    std::uint64_t count = 0;

    Neighbours &operator+=(const Neighbours &other)
    {
        sum += other.sum;
        count += other.count;
        return *this;
    }
    Neighbours &operator-=(const Neighbours &other)
    {
        sum -= other.sum;
        count -= other.count;
        return *this;
    }
};

/// The rows [lo, hi) around a row, the row itself among them; none when the frame offset is
/// negative.
struct RowSpan
{
    std::int64_t lo = 0;
    std::int64_t hi = 0;
};
RowSpan NeighbourRows(std::int64_t row, std::int64_t rows, int frameOffset);

// A "record" below is what tells by `exists`, `size` and `modified` of a file: `_FileInfo`,
// `FrameRecord`, `FileLook`.

/// What is wrong with a file by itself, whatever stands around it: never an outlier. Counts,
/// verdicts and neighbourhoods all ask here.
template <typename Record> FrameState JudgeAlone(const Record &file, const ScanRules &rules)
{
    if (!file.exists)
        return FrameState::Missing;
    return file.size < rules.minSize ? FrameState::TooSmall : FrameState::Ok;
}

/// What a record adds to the neighbourhood of others: nothing when it is bad by itself.
template <typename Record> Neighbours AsNeighbour(const Record &file, const ScanRules &rules)
{
    if (JudgeAlone(file, rules) != FrameState::Ok)
        return {};
    return {file.size, 1};
}

/// The sizes that pass beside some neighbours, both ends included; nothing where all do.
struct SizeBand
{
    std::uint64_t mean = 0;
    std::uint64_t lowest = 0; ///< Above `highest` where the lower end wraps.
    std::uint64_t highest = 0;
};
std::optional<SizeBand> BandOf(const Neighbours &neighbours, const ScanRules &rules);
bool IsOutside(std::uint64_t size, const std::optional<SizeBand> &band);

/// Judges one record by the rows around it (itself not among them).
///
/// The band is the neighbours' mean plus and minus mean times `sizeVariation`, both ends included,
/// in unsigned 64-bit arithmetic: a variation above 1 wraps the lower end to a huge value, so that
/// every record with a neighbour is an outlier. The product is single precision and truncated; one
/// below zero counts as 0, one beyond 64 bits as the largest number.
template <typename Record>
FrameState Judge(const Record &file, const Neighbours &neighbours, const ScanRules &rules)
{
    const FrameState alone = JudgeAlone(file, rules);
    return alone == FrameState::Ok && IsOutside(file.size, BandOf(neighbours, rules))
               ? FrameState::Outlier
               : alone;
}

/// Writes the trace line of a bad record ("PATH bad: Missing", "... MinSize", "... Neighbors").
void LogVerdict(const _FileInfo &file, FrameState state);

/// Goes through all rows, row 0 first, and calls `visit(row, neighbours)` with what is around each,
/// itself not among it. Costs the same whatever the frame offset is.
///
/// `rows` has `size()` and gives a record by `[row]`; it must stay as it is meanwhile.
template <typename Rows, typename Visit>
void VisitNeighbours(const Rows &rows, const ScanRules &rules, Visit &&visit)
{
    const auto count = std::int64_t(rows.size());
    Neighbours window; // Over [begin, end), which only ever moves up.
    std::int64_t begin = 0;
    std::int64_t end = 0;

    for (std::int64_t row = 0; row < count; ++row)
    {
        const RowSpan span = NeighbourRows(row, count, rules.frameOffset);
        for (; end < span.hi; ++end)
            window += AsNeighbour(rows[std::size_t(end)], rules);
        for (; begin < std::min(span.lo, end); ++begin)
            window -= AsNeighbour(rows[std::size_t(begin)], rules);

        Neighbours others;
        if (span.lo < span.hi)
        {
            others = window;
            others -= AsNeighbour(rows[std::size_t(row)], rules);
        }
        visit(std::size_t(row), others);
    }
}

/// Judges all rows in one go, row 0 first: calls `visit(row, state)`. As `VisitNeighbours`.
template <typename Rows, typename Visit>
void JudgeAll(const Rows &rows, const ScanRules &rules, Visit &&visit)
{
    VisitNeighbours(rows, rules,
                    [&](std::size_t row, const Neighbours &neighbours)
                    { visit(row, Judge(rows[row], neighbours, rules)); });
}

/// The same for rows of `_FileInfo`, with a trace line for each bad one: calls
/// `visit(record, state)`.
template <typename Rows, typename Visit>
void ClassifyAll(const Rows &rows, const ScanRules &rules, Visit &&visit)
{
    JudgeAll(rows, rules,
             [&](std::size_t row, FrameState state)
             {
                 LogVerdict(rows[row], state);
                 visit(rows[row], state);
             });
}

} // namespace analysis
