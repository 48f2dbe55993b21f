#include "analysis/ShortWindows.h"

#include <cassert>
#include <cstring>

namespace analysis
{

namespace
{

using Lanes = std::array<std::int16_t, SpreadLanes::k_lanes>;

Lanes LanesFrom(const std::int16_t *levels)
{
    Lanes lanes;
    std::memcpy(&lanes, levels, sizeof lanes);
    return lanes;
}

/// How many of the levels from a place on are out of the range of a lane; the next lane's begin one
/// place farther.
Lanes CountFar(const std::int16_t *levels, std::size_t count, const Lanes &lowest,
               const Lanes &highest)
{
    Lanes far{};
    for (std::size_t place = 0; place < count; ++place)
    {
        const Lanes others = LanesFrom(levels + place);
        for (std::size_t lane = 0; lane < SpreadLanes::k_lanes; ++lane)
        {
            const int isFar = int(others[lane] < lowest[lane]) | int(others[lane] > highest[lane]);
            far[lane] = std::int16_t(far[lane] + isFar);
        }
    }
    return far;
}

} // namespace

ShortWindows::ShortWindows(const SizeLevels &levels, const SpreadLimit &limit)
    : m_levels(levels), m_limit(limit), m_window(std::size_t(levels.Window())),
      m_sideLanes(levels.Window()), m_bothLanes(2 * levels.Window())
{
}

void ShortWindows::FindNear(std::size_t row)
{
    const std::int16_t *const around = m_levels.Around(row);
    const Lanes levels = LanesFrom(around + m_window);
    const int near = std::min(m_limit.SurelyNear(0) / 2, k_Levels);
    Lanes lowest, highest;
    for (std::size_t lane = 0; lane < k_lanes; ++lane)
    {
        lowest[lane] = std::int16_t(levels[lane] - near);
        highest[lane] = std::int16_t(std::min(levels[lane] + near, k_Levels - 1));
    }
    const Lanes before = CountFar(around, m_window, lowest, highest);
    const Lanes after = CountFar(around + m_window + 1, m_window, lowest, highest);

    std::size_t others = 0;
    for (std::size_t lane = 0; lane < k_lanes; ++lane)
    {
        m_near[lane] = 2 * std::min(before[lane], after[lane]) < int(m_window);
        if (m_near[lane] || levels[lane] == k_AbsentLevel)
            continue;
        m_lonely = row + lane;
        ++others;
    }
    // One costs less by itself, unless what is around it is known already.
    m_isCalm = others == 0 || (others == 1 && m_end <= row + m_window);
    if (m_isCalm && others == 1)
        FindLonely();
    // Where sizes are wild they are so for a while.
    m_nearEnd = row + (m_isCalm ? k_lanes : 8 * k_lanes);
}

void ShortWindows::FindSidesUpTo(std::size_t last)
{
    // Those before the windows around the row need not be known.
    m_end = std::max(m_end, (last - m_window - 1) / k_lanes * k_lanes);
    while (m_end <= last)
    {
        SpreadLanes::Spreads spreads;
        const std::int16_t *const levels = m_levels.Around(m_end);
        for (std::size_t place = 0; place < m_window; ++place)
            m_sideLanes.Set(int(place), levels + place);
        m_sideLanes.Find(spreads);
        Side *side = &m_sides[m_end % k_kept];
        for (const LevelSpread &spread : spreads)
        {
            const std::int32_t near = spread.count > 0 ? m_limit.SurelyNear(spread.fourMads) : -1;
            *side++ = {spread, spread.twiceMedian - near, spread.twiceMedian + near};
        }
        m_end += k_lanes;
    }
}

/// A lane for what is before it, one for what is after it and one for both.
void ShortWindows::FindLonely()
{
    const std::int16_t *const levels = m_levels.Around(m_lonely);
    for (std::size_t place = 0; place < 2 * m_window; ++place)
    {
        const bool isAfter = place >= m_window;
        std::array<std::int16_t, k_lanes> lanes;
        lanes.fill(k_AbsentLevel);
        lanes[isAfter] = lanes[2] = levels[place + isAfter];
        m_bothLanes.Set(int(place), lanes.data());
    }
    m_bothLanes.Find(m_both);
    m_bothEnd = 0;
}

const LevelSpread &ShortWindows::LonelyAt([[maybe_unused]] std::size_t row, std::size_t lane) const
{
    assert(row == m_lonely);
    return m_both[lane];
}

bool ShortWindows::IsBetween(std::int32_t twice, const LevelSpread &one, const LevelSpread &other)
{
    return one.count > 0 && other.count > 0 &&
           (one.twiceMedian < other.twiceMedian
                ? one.twiceMedian <= twice && twice <= other.twiceMedian
                : other.twiceMedian <= twice && twice <= one.twiceMedian);
}

LevelSpread ShortWindows::Before(std::size_t row)
{
    if (m_isCalm)
        return LonelyAt(row, 0);
    FindSidesUpTo(row + m_window + 1);
    return m_sides[row % k_kept].spread;
}

LevelSpread ShortWindows::After(std::size_t row)
{
    if (m_isCalm)
        return LonelyAt(row, 1);
    FindSidesUpTo(row + m_window + 1);
    return m_sides[(row + m_window + 1) % k_kept].spread;
}

LevelSpread ShortWindows::Both(std::size_t row)
{
    if (m_isCalm)
        return LonelyAt(row, 2);
    if (row >= m_bothEnd)
    {
        const std::int16_t *const levels = m_levels.Around(row);
        const std::int16_t *const after = levels + m_window + 1;
        for (std::size_t place = 0; place < m_window; ++place)
        {
            m_bothLanes.Set(int(place), levels + place);
            m_bothLanes.Set(int(m_window + place), after + place);
        }
        m_bothLanes.Find(m_both);
        m_bothEnd = row + k_lanes;
    }
    return m_both[row + k_lanes - m_bothEnd];
}

} // namespace analysis
