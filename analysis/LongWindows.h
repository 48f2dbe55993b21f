#pragma once

#include <memory>
#include <optional>

#include "analysis/LevelCounts.h"
#include "analysis/WindowLook.h"

namespace analysis
{

/// The spreads around each row for windows of any length, by counting how many rows are at each
/// level.
///
/// A few rows more or less hardly move the middle of many. So from time to time bounds are found
/// within which the middle and the deviation stay for the next rows, whatever their sizes are, and
/// nearly all of them are judged by these bounds alone.
class LongWindows
{
public:
    /// For windows of 1 row or more. Both must live as long as this does.
    LongWindows(const SizeLevels &levels, const SpreadLimit &limit);

    // Each of them takes a row that is not below the last one it was asked about.

    /// What the bounds tell. Not of a row that is bad by itself.
    WindowLook LookAt(std::size_t row);

    LevelSpread Before(std::size_t row);
    LevelSpread After(std::size_t row);
    /// Of the two windows as if they were one.
    LevelSpread Both(std::size_t row);

private:
    /// In levels, of one window.
    struct Bounds
    {
        std::int32_t few; ///< So many of the window are no half of it.
        int lowMedian;
        int highMedian;
        int leastMad;
        int lowMost; ///< From here to `highMost` is always more than half of the window.
        int highMost;
    };

    /// Twice the levels from and to which something is sure.
    struct Range
    {
        std::int32_t lowest;
        std::int32_t highest;

        bool Has(std::int32_t twice) const
        {
            return bool(int(lowest <= twice) & int(twice <= highest));
        }
    };

    void MoveTo(std::size_t row);
    int RowsOf(int share) const;
    void FindMedians(std::size_t row);
    void FindBounds(std::size_t row);
    static std::optional<Bounds> MediansFor(int rows, const LevelCounts &counts);
    static std::optional<Bounds> BoundsFor(int rows, const LevelCounts &counts);
    Range RangeThatPasses(const std::optional<Bounds> &bounds) const;
    Range RangeThatMayPass(const std::optional<Bounds> &one,
                           const std::optional<Bounds> &other) const;

    const SizeLevels &m_levels;
    const SpreadLimit &m_limit;
    const std::size_t m_window;
    const std::unique_ptr<LevelCounts> m_before;
    const std::unique_ptr<LevelCounts> m_after;
    std::size_t m_row = 0; ///< The row around which the counts are.
    /// What passes whatever the deviation is, and the first row for which that does not hold.
    Range m_nearBefore{};
    Range m_nearAfter{};
    std::size_t m_nearEnd = 0;
    /// What passes, what may pass, and the first row for which that does not hold.
    Range m_passesBefore{};
    Range m_passesAfter{};
    Range m_mayPass{};
    std::size_t m_boundsEnd = 0;
};

} // namespace analysis
