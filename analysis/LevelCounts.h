#pragma once

#include <array>
#include <cstdint>

#include "analysis/LevelSpread.h"
#include "analysis/SizeLevels.h"

namespace analysis
{

/// How many rows of a window are at each level; in groups and octaves as well, so that few numbers
/// have to be added up to find the row of a rank. Rows that are bad by themselves are counted
/// apart.
struct LevelCounts
{
    static constexpr int k_group = 16; ///< Levels counted together, and groups of an octave.
    static constexpr int k_groups = k_Levels / k_group;
    static constexpr int k_octaves = k_groups / k_group;

    std::array<std::uint32_t, k_octaves + 1> octaves{};
    std::array<std::uint32_t, k_groups + 1> groups{};
    std::array<std::uint32_t, k_Levels + 1> levels{};
    std::int32_t rows = 0;

    void Change(std::int16_t level, std::uint32_t by)
    {
        octaves[std::size_t(level / (k_group * k_group))] += by;
        groups[std::size_t(level / k_group)] += by;
        levels[std::size_t(level)] += by;
    }
    /// The window moves up by a row.
    void Move(std::int16_t from, std::int16_t to)
    {
        Change(from, std::uint32_t(-1));
        Change(to, 1);
    }
    /// Rows that all the window has at first.
    void Start(const std::int16_t *first, std::int32_t count)
    {
        rows = count;
        for (std::int32_t row = 0; row < count; ++row)
            Change(first[row], 1);
    }

    std::int32_t Count() const
    {
        return rows - std::int32_t(levels[k_AbsentLevel]);
    }
};

// What follows takes one window, or two as if they were one.

/// Where the row of a rank is, and how many of the next ranks are there, too.
struct RankPlace
{
    int at;
    std::int32_t more;
};

/// The level of the row that has `rank` others below it; `rank` is below the count.
template <typename... Counts> RankPlace LevelOfRank(std::int32_t rank, const Counts &...counts)
{
    std::size_t at = 0;
    const auto find = [&](auto member)
    {
        for (;; ++at)
        {
            const auto here = std::int32_t(((counts.*member)[at] + ...));
            if (rank < here)
                return here - rank - 1;
            rank -= here;
        }
    };
    find(&LevelCounts::octaves);
    at *= LevelCounts::k_group;
    find(&LevelCounts::groups);
    at *= LevelCounts::k_group;
    const std::int32_t more = find(&LevelCounts::levels);
    return {int(at), more};
}

/// The distance from some levels, from `low` to `high`, of the row to which `rank` others are
/// nearer; 0 for those between. `rank` is below the count.
template <typename... Counts>
RankPlace DistanceOfRank(std::int32_t rank, int low, int high, const Counts &...counts)
{
    const auto inGroup = [&](int at)
    {
        return at >= 0 && at < LevelCounts::k_groups
                   ? std::int32_t((counts.groups[std::size_t(at)] + ...))
                   : 0;
    };
    const auto atLevel = [&](int at)
    { return at >= 0 && at < k_Levels ? std::int32_t((counts.levels[std::size_t(at)] + ...)) : 0; };

    // Whole groups first, as long as the one who is looked for is not among them.
    int first = low / LevelCounts::k_group;
    int last = high / LevelCounts::k_group;
    std::int32_t seen = 0;
    for (int group = first; group <= last; ++group)
        seen += inGroup(group);
    const bool isBeyond = seen <= rank;
    for (std::int32_t more; more = inGroup(first - 1) + inGroup(last + 1), seen + more <= rank;)
    {
        seen += more;
        --first;
        ++last;
    }

    // What of them is farther on one side than on the other does not count.
    const int below = low - first * LevelCounts::k_group;
    const int above = (last + 1) * LevelCounts::k_group - 1 - high;
    int distance = isBeyond ? std::min(below, above) : 0;
    for (int level = low - below; level < low - distance; ++level)
        seen -= atLevel(level);
    for (int level = high + above; level > high + distance; --level)
        seen -= atLevel(level);

    for (; seen <= rank; seen += atLevel(low - distance) + atLevel(high + distance))
        ++distance;
    return {distance, seen - rank - 1};
}

/// Of all of them.
template <typename... Counts> LevelSpread SpreadOf(const Counts &...counts)
{
    const std::int32_t count = (counts.Count() + ...);
    if (count == 0)
        return {};
    // The two in the middle, which are one and the same where the count is odd.
    const std::int32_t lower = (count - 1) / 2;
    const std::int32_t upper = count / 2;
    const auto sumOfMiddles = [&](auto find)
    {
        const RankPlace place = find(lower);
        return place.at + (place.more >= upper - lower ? place.at : find(upper).at);
    };
    const int twice = sumOfMiddles([&](std::int32_t rank) { return LevelOfRank(rank, counts...); });
    // From a median between two levels both are half a level away.
    const int odd = twice % 2;
    const int distances =
        sumOfMiddles([&](std::int32_t rank)
                     { return DistanceOfRank(rank, twice / 2, twice / 2 + odd, counts...); });
    return {count, twice, 2 * (distances + odd)};
}

} // namespace analysis
