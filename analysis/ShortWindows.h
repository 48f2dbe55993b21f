#pragma once

#include <array>

#include "analysis/SizeLevels.h"
#include "analysis/SpreadLanes.h"
#include "analysis/WindowLook.h"

namespace analysis
{

/// The spreads around each row for windows of a few rows: each window is sorted, several of them
/// side by side. What follows a row is what precedes another, so it is sorted once for both.
class ShortWindows
{
public:
    static constexpr int k_longest = SpreadLanes::k_most / 2;

    /// For windows of 1 to `k_longest` rows. Both must live as long as this does.
    ShortWindows(const SizeLevels &levels, const SpreadLimit &limit);

    // Each of them takes a row that is not below the last one it was asked about.

    /// What can be told without `Both`. Not of a row that is bad by itself.
    WindowLook LookAt(std::size_t row)
    {
        if (row >= m_nearEnd)
            FindNear(row);
        if (m_isCalm)
            return m_near[row + k_lanes - m_nearEnd] ? WindowLook::Fine : WindowLook::Unclear;

        if (row + m_window + 1 >= m_end)
            FindSidesUpTo(row + m_window + 1);
        const Side &before = m_sides[row % k_kept];
        const Side &after = m_sides[(row + m_window + 1) % k_kept];
        const std::int32_t twice = 2 * m_levels[row];
        // Without a branch between them: which side lets it pass cannot be foreseen.
        const bool passes = (int(twice >= before.lowest) & int(twice <= before.highest)) |
                            (int(twice >= after.lowest) & int(twice <= after.highest));
        return passes || IsBetween(twice, before.spread, after.spread) ? WindowLook::Fine
                                                                       : WindowLook::Unclear;
    }

    LevelSpread Before(std::size_t row);
    LevelSpread After(std::size_t row);
    /// Of the two windows as if they were one.
    LevelSpread Both(std::size_t row);

private:
    static constexpr std::size_t k_lanes = SpreadLanes::k_lanes;
    static constexpr std::size_t k_kept = 128;
    static_assert(k_kept >= k_longest + 1 + 2 * k_lanes && k_kept % k_lanes == 0);

    struct Side
    {
        LevelSpread spread;
        std::int32_t lowest;  ///< Twice the levels that it surely lets pass.
        std::int32_t highest; ///< Below `lowest` where it lets none.
    };

    static bool IsBetween(std::int32_t twice, const LevelSpread &one, const LevelSpread &other);
    void FindNear(std::size_t row);
    void FindLonely();
    const LevelSpread &LonelyAt(std::size_t row, std::size_t lane) const;
    void FindSidesUpTo(std::size_t last);

    const SizeLevels &m_levels;
    const SpreadLimit &m_limit;
    const std::size_t m_window;
    SpreadLanes m_sideLanes;
    SpreadLanes m_bothLanes;
    /// Of the rows in [m_nearEnd - k_lanes, m_nearEnd): more than half of one side are so near that
    /// the median is, too.
    std::array<std::int16_t, k_lanes> m_near;
    std::size_t m_nearEnd = 0;
    /// All of them are, or all but one, which is the only one then whose spreads are known.
    bool m_isCalm = false;
    std::size_t m_lonely = 0;
    /// Of the windows in [m_end - k_kept, m_end), by the first row around which they are.
    std::array<Side, k_kept> m_sides;
    std::size_t m_end = 0;
    /// Of the rows in [m_bothEnd - k_lanes, m_bothEnd), or of m_lonely.
    SpreadLanes::Spreads m_both;
    std::size_t m_bothEnd = 0;
};

} // namespace analysis
