#pragma once

#include <algorithm>
#include <limits>
#include <vector>

#include "analysis/ScanRules.h"

/// The verdict on one row, worked out the slow way: every neighbour is visited.
inline analysis::FrameState PlainVerdict(const std::vector<analysis::_FileInfo> &rows, int row,
                                         const analysis::ScanRules &rules)
{
    using analysis::FrameState;

    const auto &file = rows[std::size_t(row)];
    if (!file.exists)
        return FrameState::Missing;
    if (file.size < rules.minSize)
        return FrameState::TooSmall;

    const long long lo = std::max(row - (long long)rules.frameOffset, 0LL);
    const long long hi = std::min(row + (long long)rules.frameOffset + 1, (long long)rows.size());
    std::uint64_t sum = 0;
    std::uint64_t count = 0;
    for (long long other = lo; other < hi; ++other)
    {
        const auto &neighbour = rows[std::size_t(other)];
        if (other == row || !neighbour.exists || neighbour.size < rules.minSize)
            continue;
        sum += neighbour.size;
        ++count;
    }
    if (count == 0)
        return FrameState::Ok;

    const std::uint64_t mean = sum / count;
    const float product = float(mean) * rules.sizeVariation;
    std::uint64_t tolerance = 0;
    if (product >= 18446744073709551616.0f)
        tolerance = std::numeric_limits<std::uint64_t>::max();
    else if (product > 0)
        tolerance = std::uint64_t(product);
    const bool outside = file.size < mean - tolerance || file.size > mean + tolerance;
    return outside ? FrameState::Outlier : FrameState::Ok;
}
