#include "analysis/LongWindows.h"

#include <limits>

namespace analysis
{

namespace
{

/// One in so many of a window may change before bounds are found anew: where more may, that is
/// done less often and leaves more rows unclear. Of medians alone less is asked, as where sizes are
/// near each other any bounds of them are narrow.
constexpr int k_medianShare = 5;
constexpr int k_share = 20;

} // namespace

LongWindows::LongWindows(const SizeLevels &levels, const SpreadLimit &limit)
    : m_levels(levels), m_limit(limit), m_window(std::size_t(levels.Window())),
      m_before(std::make_unique<LevelCounts>()), m_after(std::make_unique<LevelCounts>())
{
    m_before->Start(levels.Around(0), levels.Window());
    m_after->Start(levels.Around(0) + m_window + 1, levels.Window());
}

void LongWindows::MoveTo(std::size_t row)
{
    for (; m_row < row; ++m_row)
    {
        const std::int16_t *const levels = m_levels.Around(m_row);
        m_before->Move(levels[0], levels[m_window]);
        m_after->Move(levels[m_window + 1], levels[2 * m_window + 1]);
    }
}

/// Rows that may pass until one in `share` of the windows has changed.
int LongWindows::RowsOf(int share) const
{
    return std::max(std::min(m_before->Count(), m_after->Count()) / share, 1);
}

/// Those of the median, which hold while no more than `rows` rows leave the window and no more than
/// that come.
///
/// Where so few of the window are below a level that they are less than half, the median is not,
/// and is not either after `rows` have come below it and as many have left from above, if
/// 2 * (few + rows) < count. The same is true of what is above a level.
std::optional<LongWindows::Bounds> LongWindows::MediansFor(int rows, const LevelCounts &counts)
{
    const std::int32_t count = counts.Count();
    if (count <= 2 * rows)
        return std::nullopt;
    Bounds bounds{};
    bounds.few = (count - 1 - 2 * rows) / 2;
    bounds.lowMedian = LevelOfRank(bounds.few, counts).at;
    bounds.highMedian = LevelOfRank(count - 1 - bounds.few, counts).at;
    return bounds;
}

/// All of them. What is true of rows below a level and above it is so of rows nearer than a
/// distance and farther away.
std::optional<LongWindows::Bounds> LongWindows::BoundsFor(int rows, const LevelCounts &counts)
{
    auto bounds = MediansFor(rows, counts);
    if (!bounds)
        return bounds;
    const auto distanceOf = [&](std::int32_t rank)
    { return DistanceOfRank(rank, bounds->lowMedian, bounds->highMedian, counts).at; };
    bounds->leastMad = distanceOf(bounds->few);
    const int farthest = distanceOf(counts.Count() - 1 - bounds->few);
    bounds->lowMost = bounds->lowMedian - farthest;
    bounds->highMost = bounds->highMedian + farthest;
    return bounds;
}

LongWindows::Range LongWindows::RangeThatPasses(const std::optional<Bounds> &bounds) const
{
    if (!bounds)
        return {1, 0};
    const std::int32_t near = m_limit.SurelyNear(4 * bounds->leastMad);
    return {2 * bounds->highMedian - near, 2 * bounds->lowMedian + near};
}

/// Of each window and of both together, the median is between the lowest and the highest one, and
/// more than half is in the range where most of each window is.
LongWindows::Range LongWindows::RangeThatMayPass(const std::optional<Bounds> &one,
                                                 const std::optional<Bounds> &other) const
{
    if (!one || !other)
        return {std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()};
    const int low = std::min(one->lowMedian, other->lowMedian);
    const int high = std::max(one->highMedian, other->highMedian);
    const int mostMad = std::max(high - std::min(one->lowMost, other->lowMost),
                                 std::max(one->highMost, other->highMost) - low);
    const std::int32_t far = m_limit.SurelyFar(4 * mostMad);
    return {2 * low - far, 2 * high + far};
}

void LongWindows::FindMedians(std::size_t row)
{
    MoveTo(row);
    const int rows = RowsOf(k_medianShare);
    m_nearBefore = RangeThatPasses(MediansFor(rows, *m_before));
    m_nearAfter = RangeThatPasses(MediansFor(rows, *m_after));
    m_nearEnd = row + std::size_t(rows) + 1;
}

void LongWindows::FindBounds(std::size_t row)
{
    MoveTo(row);
    const int rows = RowsOf(k_share);
    const auto before = BoundsFor(rows, *m_before);
    const auto after = BoundsFor(rows, *m_after);
    m_passesBefore = RangeThatPasses(before);
    m_passesAfter = RangeThatPasses(after);
    m_mayPass = RangeThatMayPass(before, after);
    m_boundsEnd = row + std::size_t(rows) + 1;
}

WindowLook LongWindows::LookAt(std::size_t row)
{
    const std::int32_t twice = 2 * m_levels[row];
    if (row < m_boundsEnd && (m_passesBefore.Has(twice) || m_passesAfter.Has(twice)))
        return WindowLook::Fine;
    if (row >= m_nearEnd)
        FindMedians(row);
    if (m_nearBefore.Has(twice) || m_nearAfter.Has(twice))
        return WindowLook::Fine;

    if (row >= m_boundsEnd)
        FindBounds(row);
    if (m_passesBefore.Has(twice) || m_passesAfter.Has(twice))
        return WindowLook::Fine;
    return m_mayPass.Has(twice) ? WindowLook::Unclear : WindowLook::Outlier;
}

LevelSpread LongWindows::Before(std::size_t row)
{
    MoveTo(row);
    return SpreadOf(*m_before);
}

LevelSpread LongWindows::After(std::size_t row)
{
    MoveTo(row);
    return SpreadOf(*m_after);
}

LevelSpread LongWindows::Both(std::size_t row)
{
    MoveTo(row);
    return SpreadOf(*m_before, *m_after);
}

} // namespace analysis
