#include "analysis/SizeLevels.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>

#include "analysis/RobustRule.h"

namespace analysis
{

namespace
{

/// Logarithms by a look at the digits of a double, several times as quick as `std::log2`.
///
/// What follows the leading one of a size is one of so many parts, each of which is less than a
/// level wide: two levels at most have a share of it.
class LevelTable
{
public:
    LevelTable()
    {
        for (unsigned part = 0; part < k_parts; ++part)
        {
            const double level =
                std::floor(std::log2(1 + double(part) / k_parts) * k_LevelsPerOctave + 0.5);
            const double next = std::exp2((level + 0.5) / k_LevelsPerOctave);
            m_parts[part] = {unsigned(level), std::bit_cast<std::uint64_t>(next)};
        }
    }

    unsigned Find(std::uint64_t size) const
    {
        const auto digits = std::bit_cast<std::uint64_t>(double(std::max<std::uint64_t>(size, 1)));
        const Part &part = m_parts[(digits >> (k_digits - k_partDigits)) % k_parts];
        const unsigned octave = unsigned(digits >> k_digits) - k_bias;
        const std::uint64_t inOctave = digits - (std::uint64_t(octave) << k_digits);
        const unsigned level =
            octave * k_LevelsPerOctave + part.level + unsigned(inOctave >= part.next);
        return std::min(level, unsigned(k_Levels - 1)); // The largest sizes round up to 2^64.
    }

private:
    static constexpr unsigned k_partDigits = 9;
    static constexpr unsigned k_parts = 1u << k_partDigits;
    static constexpr unsigned k_digits = 52; ///< Of a double, behind the leading one.
    static constexpr unsigned k_bias = 1023; ///< The exponent of 1.
    static_assert(k_parts > k_LevelsPerOctave / 0.69);

    struct Part
    {
        unsigned level;
        std::uint64_t next; ///< The number, from 1 to 2, at which the next level begins.
    };

    std::array<Part, k_parts> m_parts;
};

const LevelTable &Table()
{
    static const LevelTable table;
    return table;
}

} // namespace

unsigned LevelOf(std::uint64_t size)
{
    return Table().Find(size);
}

SizeLevels::SizeLevels(std::span<const FrameRecord> frames, const ScanRules &rules)
    : m_rows(frames.size()),
      m_window(int(std::clamp<std::int64_t>(rules.frameOffset, 0, std::int64_t(m_rows)))),
      m_levels(m_rows + 2 * std::size_t(m_window) + k_more, k_AbsentLevel)
{
    const LevelTable &table = Table();
    std::int16_t *level = m_levels.data() + m_window;
    for (const FrameRecord &frame : frames)
    {
        if (JudgeAlone(frame, rules) == FrameState::Ok)
            *level = std::int16_t(table.Find(frame.size));
        ++level;
    }
}

} // namespace analysis
