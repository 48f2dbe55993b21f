#pragma once

#include <cstdlib>
#include <vector>

#include "analysis/ScanRules.h"

/// The verdict on one row of sizes below a million, in whole numbers, with a variation of so many
/// quarters: there the rules' single precision has nothing to round, and no sum wraps.
inline analysis::FrameState VerdictByDistance(const std::vector<analysis::_FileInfo> &rows,
                                              std::size_t row, unsigned minSize, long frameOffset,
                                              long long quarters)
{
    using analysis::FrameState;

    const auto isTooSmall = [minSize](const auto &file) { return file.size < minSize; };
    if (!rows[row].exists)
        return FrameState::Missing;
    if (isTooSmall(rows[row]))
        return FrameState::TooSmall;

    long long sum = 0;
    long long count = 0;
    for (std::size_t other = 0; other < rows.size(); ++other)
    {
        const long distance = std::labs(long(other) - long(row));
        if (distance > 0 && distance <= frameOffset && rows[other].exists &&
            !isTooSmall(rows[other]))
        {
            sum += (long long)rows[other].size;
            ++count;
        }
    }
    if (count == 0)
        return FrameState::Ok;
    const long long mean = sum / count;
    const long long away = std::llabs((long long)rows[row].size - mean);
    return away > mean * quarters / 4 ? FrameState::Outlier : FrameState::Ok;
}
