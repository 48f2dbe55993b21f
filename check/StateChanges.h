#pragma once

#include <map>
#include <utility>

#include "check/CheckTable.h"

namespace check
{

/// The state of each frame of a table, by output number.
using FrameStates = std::vector<std::pair<int, CheckState>>;
FrameStates StatesByFrame(const CheckTable &table);

/// Frames that went from one state to another.
struct StateChange
{
    corvan::SequenceDistributor::Items frames;
    std::size_t firstRow = 0; ///< That of the lowest of them.
};
using StateChanges = std::map<std::pair<CheckState, CheckState>, StateChange>;

/// What changed in a table since its states were `before`. Its rows may stand in another order now,
/// but are of the same frames.
StateChanges FindChanges(const FrameStates &before, const CheckTable &table);

} // namespace check
