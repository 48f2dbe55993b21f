#include "analysis/SpreadLanes.h"

#include <bit>
#include <cassert>
#include <cstring>
#include <limits>

#include "analysis/SizeLevels.h"

namespace analysis
{

SpreadLanes::SpreadLanes(int size) : m_size(size)
{
    assert(0 < size && size <= k_most);

    // Merge exchange: K. E. Batcher, "Sorting networks and their applications", AFIPS Spring Joint
    // Computer Conference 32 (1968).
    for (int run = 1; run < size; run *= 2)
        for (int away = run; away > 0; away /= 2)
            for (int first = away % run; first + away < size; first += 2 * away)
                for (int place = first; place < std::min(first + away, size - away); ++place)
                    if (place / (2 * run) == (place + away) / (2 * run))
                        m_sort.emplace_back(place, place + away);

    // Its second half alone, as for a bitonic sequence. The places that lack of a power of two
    // would hold what is above everything, and it would stay there.
    for (int away = int(std::bit_ceil(unsigned(size))) / 2; away > 0; away /= 2)
        for (int place = 0; place + away < size; ++place)
            if ((place & away) == 0)
                m_merge.emplace_back(place, place + away);
}

void SpreadLanes::Set(int place, const std::int16_t *levels)
{
    std::memcpy(&m_places[std::size_t(place)], levels, sizeof(Lanes));
}

void SpreadLanes::Order(const Pairs &pairs)
{
    for (const auto &[lower, upper] : pairs)
    {
        // Copies, since the compiler must know that they are apart.
        const Lanes one = m_places[lower];
        const Lanes other = m_places[upper];
        Lanes least, most;
        for (std::size_t lane = 0; lane < k_lanes; ++lane)
            least[lane] = std::min(one[lane], other[lane]);
        for (std::size_t lane = 0; lane < k_lanes; ++lane)
            most[lane] = std::max(one[lane], other[lane]);
        m_places[lower] = least;
        m_places[upper] = most;
    }
}

void SpreadLanes::TurnToDistances(const Lanes &twiceMedians)
{
    const Lanes middles = twiceMedians;
    for (int place = 0; place < m_size; ++place)
    {
        const Lanes levels = m_places[std::size_t(place)];
        Lanes distances;
        for (std::size_t lane = 0; lane < k_lanes; ++lane)
        {
            const auto above = std::int16_t(2 * levels[lane] - middles[lane]);
            const auto below = std::int16_t(middles[lane] - 2 * levels[lane]);
            const std::int16_t distance = std::max(above, below);
            distances[lane] =
                levels[lane] == k_AbsentLevel ? std::numeric_limits<std::int16_t>::max() : distance;
        }
        m_places[std::size_t(place)] = distances;
    }
}

void SpreadLanes::Find(Spreads &spreads)
{
    Lanes counts{};
    for (int place = 0; place < m_size; ++place)
    {
        const Lanes levels = m_places[std::size_t(place)];
        for (std::size_t lane = 0; lane < k_lanes; ++lane)
            counts[lane] = std::int16_t(counts[lane] + (levels[lane] < k_AbsentLevel));
    }

    const auto sumOfMiddles = [&](std::size_t lane)
    {
        const int count = counts[lane];
        return m_places[std::size_t((count - 1) / 2)][lane] +
               m_places[std::size_t(count / 2)][lane];
    };

    Order(m_sort);
    Lanes middles{};
    for (std::size_t lane = 0; lane < k_lanes; ++lane)
        if (counts[lane] > 0)
            middles[lane] = std::int16_t(sumOfMiddles(lane));

    TurnToDistances(middles);
    Order(m_merge);
    for (std::size_t lane = 0; lane < k_lanes; ++lane)
        spreads[lane] = {counts[lane], middles[lane], counts[lane] > 0 ? sumOfMiddles(lane) : 0};
}

} // namespace analysis
