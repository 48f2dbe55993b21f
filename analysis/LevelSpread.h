#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "analysis/RobustRule.h"
#include "analysis/SizeLevels.h"

namespace analysis
{

/// Where the middle of some levels is and how far they are spread. In whole numbers, which neither
/// a median between two levels nor a deviation from it rounds.
struct LevelSpread
{
    std::int32_t count = 0; ///< Levels; without any, nothing else means something.
    std::int32_t twiceMedian = 0;
    std::int32_t fourMads = 0; ///< Four times the median absolute deviation, in levels.

    double Median() const
    {
        return twiceMedian / 2.0;
    }
};

/// What distance from a median is too far.
class SpreadLimit
{
public:
    explicit SpreadLimit(const ScanRules &rules)
    {
        const double variation = rules.sizeVariation > 0 ? rules.sizeVariation : 0;
        m_floor = std::max(k_LevelsPerOctave * std::log2(1 + variation), 1.0);
        // Twice as far is no size from another.
        m_surelyNear = std::int32_t(std::min(2 * m_floor, 4.0 * k_Levels) * (1 - 1e-9));
    }

    /// What a size may differ from a median in any case, in levels. Not less than one, since no
    /// size is known more exactly.
    double Floor() const
    {
        return m_floor;
    }

    double Scale(const LevelSpread &spread) const
    {
        return std::max(k_MadToDeviation * (spread.fourMads / 4.0), m_floor / k_RobustLimit);
    }
    double Reach(const LevelSpread &spread) const
    {
        return k_RobustLimit * Scale(spread);
    }
    double Score(const LevelSpread &spread, double level) const
    {
        return std::abs(level - spread.Median()) / Scale(spread);
    }

    /// How far from twice a median twice a level may be and pass for sure, and how far it may be
    /// and fail for sure; of what is between them only `Score` tells.
    std::int32_t SurelyNear(std::int32_t fourMads) const
    {
        return std::max(std::int32_t(fourMads * k_reach / k_whole), m_surelyNear);
    }
    std::int32_t SurelyFar(std::int32_t fourMads) const
    {
        return std::max(std::int32_t(fourMads * (k_reach + 1) / k_whole), m_surelyNear) + 2;
    }

private:
    // Twice the distance of which four MADs make the limit, rounded down, as a fraction.
    static constexpr std::int64_t k_whole = 1 << 16;
    static constexpr std::int64_t k_reach =
        std::int64_t(k_RobustLimit * k_MadToDeviation / 2 * k_whole);

    double m_floor;
    std::int32_t m_surelyNear;
};

} // namespace analysis
