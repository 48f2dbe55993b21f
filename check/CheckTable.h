#pragma once

#include <array>
#include <map>
#include <span>
#include <vector>

#include "analysis/FramePattern.h"
#include "analysis/FrameRecord.h"
#include "analysis/ScanRules.h"
#include "check/CheckState.h"
#include "check/PicturePlace.h"
#include "corvan/SequenceDistributor.h"
#include "corvan/SizeRule.h"
#include "ostrel/Path.h"

namespace check
{

using ostrel::String;

/// The expected files of one pattern, in display order, with what was found of each.
///
/// `states` has an entry a frame once the table was judged. What is found out later of a file that
/// passed may replace its state and be told in `details`.
struct CheckTable
{
    explicit CheckTable(analysis::FramePattern ofPattern) : pattern(std::move(ofPattern)) {}

    String format; ///< The pattern as text.
    analysis::FramePattern pattern;
    /// How sizes are judged, and were; by `rules`, once they were.
    corvan::SizeRule sizeRule = corvan::SizeRule::Neighbours;
    analysis::ScanRules rules;
    std::vector<analysis::FrameRecord> frames;
    std::vector<CheckState> states;
    std::map<std::size_t, String> details; ///< By row; most rows have none.
    /// By row: where in its picture something was found.
    std::map<std::size_t, PicturePlace> places;
    bool isSealed = false; ///< It was held against hash lists.
    /// By row: why an image could not be looked at, by no fault of its own. Nothing is known of it;
    /// the row's state is that of its size.
    std::map<std::size_t, String> troubles;

    ostrel::Path PathOf(std::size_t row) const
    {
        return pattern.Format(frames[row].frame);
    }
};

/// Frames of each state, by its number.
using StateCounts = std::array<std::size_t, k_CheckStates.size()>;
StateCounts CountStates(const CheckTable &table);

/// Output numbers of all frames that are not ok, or of those of one state.
corvan::SequenceDistributor::Items FindBadFrames(const CheckTable &table);
corvan::SequenceDistributor::Items FindFrames(const CheckTable &table, CheckState state);

/// How many of these numbers are fine as they are, in all of the tables that have them.
std::size_t CountGoodFrames(std::span<const CheckTable> tables,
                            const corvan::SequenceDistributor::Items &numbers);

} // namespace check
