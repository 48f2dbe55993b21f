#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "analysis/FrameRecord.h"
#include "analysis/ScanRules.h"

namespace analysis
{

// The robust rule: which sizes are far from those around them, where some of those are bad
// themselves. One bad frame moves the mean of its neighbours, and makes bad frames of good ones; it
// hardly moves their median.
//
// Hampel's identifier on the logarithm of sizes: a frame's distance from the median of its
// neighbours, told in the scale that their median absolute deviation (MAD) gives. It is asked of
// the neighbours before a frame, of those after it and of both together, and the least of the three
// counts; so the frames on each side of a cut have a side to which they belong. A size between the
// medians of the two sides is on its way from one to the other, as in a fade. The first and the
// last frame have one side alone; where their nearest neighbour has left the others already, they
// may follow it.
//
// Neighbours are those of the neighbours' rule (`ScanRules::frameOffset` rows on each side, without
// what is bad by itself). `ScanRules::sizeVariation` is what a size may differ from a median in any
// case, up or down by the factor 1 + variation, so that frames of all but one size accuse no byte.

/// How many times the scale a frame may be away from the median: the three standard deviations of
/// R. K. Pearson, "Outliers in process modeling and identification", IEEE Transactions on Control
/// Systems Technology 10 (2002), where Hampel's identifier is told with them as what is usual.
inline constexpr double k_RobustLimit = 3.0;

/// What makes of a MAD the standard deviation of what is normally distributed, one through the
/// upper quartile of the normal distribution: F. R. Hampel, "The influence curve and its role in
/// robust estimation", Journal of the American Statistical Association 69 (1974). A number.
inline constexpr double k_MadToDeviation = 1.4826;

/// Fewer neighbours than these, on both sides together, tell nothing of a frame: of two sizes that
/// differ nobody knows which is wrong. Frames.
inline constexpr std::size_t k_LeastRobustNeighbours = 2;

/// Sizes are told apart in so many steps of an octave, 0.27 percent each: far below what any render
/// varies by, and few enough to be counted, which is what makes the rule's cost independent of the
/// offset.
inline constexpr unsigned k_LevelsPerOctave = 256;

/// The step that a size in bytes is at, from 0 to 64 octaves. An empty file counts as one byte.
unsigned LevelOf(std::uint64_t size);

/// What its neighbours say of a frame.
struct RobustBand
{
    /// Its distance from the median in scales, the least of the three; 0 where it is on its way
    /// from one side to the other. Beyond `k_RobustLimit` the frame is an outlier.
    double score = 0;
    /// The sizes that pass, in bytes, both ends included; the median of all neighbours.
    SizeBand sizes{};
};

/// The rows of outliers, ascending. Linear, and of much the same cost for any offset;
/// docs/performance.md has it beside the neighbours' rule.
std::vector<std::size_t> FindRobustOutliers(std::span<const FrameRecord> frames,
                                            const ScanRules &rules);

/// Goes through all rows, row 0 first: nothing for a row that is bad by itself or has too few
/// neighbours to tell. Linear, too, and slower.
using VisitRobustBand = std::function<void(std::size_t row, const std::optional<RobustBand> &)>;
void VisitRobustBands(std::span<const FrameRecord> frames, const ScanRules &rules,
                      const VisitRobustBand &visit);

/// The same of one row. Linear in the offset.
std::optional<RobustBand> RobustBandAround(std::span<const FrameRecord> frames,
                                           const ScanRules &rules, std::size_t row);

} // namespace analysis
