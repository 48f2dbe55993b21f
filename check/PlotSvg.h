#pragma once

#include "analysis/ScanRules.h"
#include "check/CheckTable.h"
#include "check/PlotColours.h"

namespace check
{

/// A judged table as a picture: the size of each file over its frame, the band that its neighbours
/// give it shaded, bad frames in their colours. Of many frames those that would lie on each other
/// are drawn as one, so that the picture stays small.
String PlotSvg(const CheckTable &table, const analysis::ScanRules &rules,
               const PlotColours &colours);

} // namespace check
