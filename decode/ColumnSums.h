#pragma once

#include <array>

namespace decode
{

/// Sums of neighbouring columns of light, row by row: as many columns as wide instructions take in
/// a few steps.
struct ColumnSums
{
    static constexpr int k_count = 32;

    std::array<float, k_count> light{};
    std::array<float, k_count> upper{}; ///< A copy of `light`, for who takes one.
    std::array<float, k_count> detail{};
    std::array<float, k_count> greatest{};
    std::array<int, k_count> lit{}; ///< Pixels that are not black.
};

/// Adds a row. Each pointer is to the pixel left of the first column, in that row, the row above it
/// and the one below. None is negative, and all are numbers.
///
/// Gives whether one of the pixels may be a peak: that is so rare that only then it is worth to ask
/// further. What it adds is the same to the bit on every processor.
bool AddRow(ColumnSums &columns, const float *above, const float *at, const float *below);

} // namespace decode
