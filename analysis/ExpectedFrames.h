#pragma once

#include <vector>

#include "analysis/Expansion.h"
#include "analysis/FrameRecord.h"

namespace analysis
{

/// Lists the frames to expect, in the order of the walk, each file once, as the file table holds
/// them. Returns the reason, and lists none, where `ExpandFrames` would refuse.
String ListExpectedFrames(const FramePattern &pattern, const ExpansionInput &input,
                          std::vector<FrameRecord> &frames);

} // namespace analysis
