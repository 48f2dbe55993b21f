#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "analysis/FrameRecord.h"
#include "analysis/ScanRules.h"

namespace analysis
{

inline constexpr int k_Levels = 16384; ///< All that `LevelOf` tells, which is what is below it.

/// What stands for the level of a row that is bad by itself: above all that there are.
inline constexpr std::int16_t k_AbsentLevel = k_Levels;

/// The levels of all rows of a table, two bytes each, for windows of so many rows before and after
/// each of them.
class SizeLevels
{
public:
    SizeLevels(std::span<const FrameRecord> frames, const ScanRules &rules);

    std::size_t Rows() const
    {
        return m_rows;
    }

    /// The rows of a window: the frame offset, or what there is; 0 for a negative one.
    int Window() const
    {
        return m_window;
    }

    std::int16_t operator[](std::size_t row) const
    {
        return m_levels[row + std::size_t(m_window)];
    }

    /// The window before a row, the row itself and the window after it, one behind the other; then
    /// so many more that whoever takes several rows at once reads none that is not there.
    /// `k_AbsentLevel` where they are beyond the table.
    const std::int16_t *Around(std::size_t row) const
    {
        return m_levels.data() + row;
    }

    static constexpr std::size_t k_more = 64;

private:
    std::size_t m_rows;
    int m_window;
    std::vector<std::int16_t> m_levels;
};

} // namespace analysis
