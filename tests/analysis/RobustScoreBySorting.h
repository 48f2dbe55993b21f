#pragma once

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <vector>

#include "analysis/RobustRule.h"

namespace analysis
{

/// The size of a missing file.
inline constexpr std::uint64_t k_absent = std::numeric_limits<std::uint64_t>::max();

using FileSizes = std::vector<std::uint64_t>;

inline std::vector<FrameRecord> RecordsOf(const FileSizes &sizes)
{
    std::vector<FrameRecord> frames;
    for (const std::uint64_t size : sizes)
    {
        FrameRecord &frame = frames.emplace_back();
        frame.frame = int(frames.size());
        frame.exists = size != k_absent;
        frame.size = frame.exists ? size : 0;
    }
    return frames;
}

// The rule as it is told, by sorting what is around each row.

inline double MedianOf(std::vector<double> numbers)
{
    std::sort(numbers.begin(), numbers.end());
    const std::size_t half = numbers.size() / 2;
    return numbers.size() % 2 == 1 ? numbers[half] : (numbers[half - 1] + numbers[half]) / 2;
}

struct Plain
{
    double median;
    double scale;
};

inline Plain PlainSpread(const std::vector<double> &levels, double floor)
{
    const double median = MedianOf(levels);
    std::vector<double> distances;
    for (const double level : levels)
        distances.push_back(std::abs(level - median));
    return {median, std::max(1.4826 * MedianOf(distances), floor / 3)};
}

/// The score of one row; nothing where there is none.
inline std::optional<double> PlainScore(const std::vector<FrameRecord> &frames, std::size_t row,
                                        const ScanRules &rules)
{
    const auto isFine = [&](const FrameRecord &frame)
    { return frame.exists && frame.size >= rules.minSize; };
    if (!isFine(frames[row]))
        return std::nullopt;
    std::vector<double> before, after; // The nearest first.
    for (std::int64_t away = 1; away <= rules.frameOffset && away < std::int64_t(frames.size());
         ++away)
    {
        const std::int64_t left = std::int64_t(row) - away;
        const std::int64_t right = std::int64_t(row) + away;
        if (left >= 0 && isFine(frames[std::size_t(left)]))
            before.push_back(LevelOf(frames[std::size_t(left)].size));
        if (right < std::int64_t(frames.size()) && isFine(frames[std::size_t(right)]))
            after.push_back(LevelOf(frames[std::size_t(right)].size));
    }
    if (before.size() + after.size() < 2)
        return std::nullopt;

    const double level = LevelOf(frames[row].size);
    const double floor = std::max(256 * std::log2(1.0 + double(rules.sizeVariation)), 1.0);
    std::vector<double> both = before;
    both.insert(both.end(), after.begin(), after.end());
    double score = INFINITY;
    for (const auto &side : {before, after, both})
        if (!side.empty())
        {
            const Plain spread = PlainSpread(side, floor);
            score = std::min(score, std::abs(level - spread.median) / spread.scale);
        }
    if (!before.empty() && !after.empty())
    {
        const double one = MedianOf(before);
        const double other = MedianOf(after);
        if (level >= std::min(one, other) && level <= std::max(one, other))
            score = 0;
    }
    else if (const double step = both[0] - both[1];
             score > 3 && std::abs(step) > floor && (level - MedianOf(both)) * step > 0)
        score = 0;
    return score;
}

} // namespace analysis
