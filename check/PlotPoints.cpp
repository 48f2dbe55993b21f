#include "check/PlotPoints.h"

#include <algorithm>

#include "analysis/RobustRule.h"

namespace check
{

std::vector<PlotPoint> PlotPointsOf(const CheckTable &table, const analysis::ScanRules &rules)
{
    std::vector<PlotPoint> points;
    points.reserve(table.frames.size());
    const auto add = [&](std::size_t row, const std::optional<analysis::SizeBand> &band)
    {
        const analysis::FrameRecord &file = table.frames[row];
        const bool hasBand = band && band->lowest <= band->highest;
        points.push_back({file.frame, file.exists, double(file.size), table.states[row], hasBand,
                          hasBand ? double(band->lowest) : 0, hasBand ? double(band->highest) : 0});
    };
    if (table.sizeRule == corvan::SizeRule::Robust)
        analysis::VisitRobustBands(
            table.frames, rules,
            [&](std::size_t row, const std::optional<analysis::RobustBand> &band)
            { add(row, band ? std::optional(band->sizes) : std::nullopt); });
    else
        analysis::VisitNeighbours(table.frames, rules,
                                  [&](std::size_t row, const analysis::Neighbours &neighbours)
                                  { add(row, analysis::BandOf(neighbours, rules)); });
    std::ranges::sort(points, {}, &PlotPoint::frame);
    return points;
}

std::vector<PlotColumn> PlotColumnsOf(const std::vector<PlotPoint> &points, const PlotAxis &axis)
{
    std::vector<PlotColumn> columns(std::size_t(axis.length) + 1);
    for (const PlotPoint &point : points)
    {
        PlotColumn &column = columns[std::size_t(axis.Place(point.frame))];
        if (point.state == CheckState::Ok)
        {
            column.least = column.count > 0 ? std::min(column.least, point.size) : point.size;
            column.most = std::max(column.most, point.size);
            ++column.count;
        }
        if (point.hasBand)
        {
            column.lowest += point.lowest;
            column.highest += point.highest;
            ++column.bands;
        }
    }
    return columns;
}

} // namespace check
