#pragma once

#include <array>
#include <cstdint>
#include <utility>
#include <vector>

#include "analysis/LevelSpread.h"

namespace analysis
{

/// Finds the spreads of the levels of several windows at once, a lane each.
///
/// Every lane takes the same steps whatever its levels are, so they are sorted side by side in the
/// registers of the processor, and none waits for a guess of what comes next.
class SpreadLanes
{
public:
    static constexpr int k_lanes = 16;
    static constexpr int k_most = 48; ///< Levels of a window.
    using Spreads = std::array<LevelSpread, k_lanes>;

    /// For windows of 1 to `k_most` levels.
    explicit SpreadLanes(int size);

    /// The level at a place of each window: of the first window `levels[0]`, of the next one
    /// `levels[1]`; `k_AbsentLevel` where it has one less.
    void Set(int place, const std::int16_t *levels);

    /// Of what has been set. All places have to be set again for the next ones.
    void Find(Spreads &spreads);

private:
    using Lanes = std::array<std::int16_t, k_lanes>;
    using Pairs = std::vector<std::pair<std::uint8_t, std::uint8_t>>;

    void Order(const Pairs &pairs);
    void TurnToDistances(const Lanes &twiceMedians);

    const int m_size;
    Pairs m_sort;  ///< Places to order, one pair after the other.
    Pairs m_merge; ///< The same for what falls first and then rises.
    alignas(64) std::array<Lanes, k_most> m_places;
};

} // namespace analysis
