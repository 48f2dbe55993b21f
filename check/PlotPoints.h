#pragma once

#include <vector>

#include "analysis/ScanRules.h"
#include "check/CheckTable.h"
#include "check/PlotAxis.h"

namespace check
{

/// One frame of a plot, with the band around it.
struct PlotPoint
{
    int frame = 0;
    bool exists = false;
    double size = 0; ///< Bytes, as those below.
    CheckState state = CheckState::Ok;
    bool hasBand = false; ///< Not where it has no neighbours, nor where its lower end wraps.
    double lowest = 0;
    double highest = 0;
};

/// The frames of a judged table, in ascending order.
std::vector<PlotPoint> PlotPointsOf(const CheckTable &table, const analysis::ScanRules &rules);

/// What stands in one column of the picture, one unit wide.
struct PlotColumn
{
    int count = 0; ///< Of files that are ok.
    double least = 0;
    double most = 0;   ///< Of their sizes.
    int bands = 0;     ///< Of files that have one.
    double lowest = 0; ///< In sum over the bands.
    double highest = 0;
};

/// The columns along an axis of frames.
std::vector<PlotColumn> PlotColumnsOf(const std::vector<PlotPoint> &points, const PlotAxis &axis);

} // namespace check
