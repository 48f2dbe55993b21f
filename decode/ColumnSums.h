#pragma once

#include <array>
#include <span>

namespace decode
{

/// Sums of neighbouring columns of light: as many columns as wide instructions take in a few steps.
struct ColumnSums
{
    static constexpr int k_count = 32;

    std::array<float, k_count> light{};
    std::array<float, k_count> upper{}; ///< A copy of `light`, for who takes one.
    std::array<float, k_count> detail{};
    std::array<float, k_count> greatest{};
    std::array<int, k_count> lit{}; ///< Pixels that are not black.
};

/// Adds rows that follow each other: sums stay in registers meanwhile, so some at a time cost half
/// of what each by itself does. `rows` are the one above the first, those to add, from the top, and
/// the one below the last; each pointer is to the pixel left of the first column. None of the light
/// is negative, and all are numbers.
///
/// Gives whether one of the pixels may be a peak: that is so rare that only then it is worth to ask
/// further. What it adds is the same to the bit on every processor, and however rows come.
bool AddRows(ColumnSums &columns, std::span<const float *const> rows);
/// The same as processors without the widest instructions do it.
bool AddRowsPlainly(ColumnSums &columns, std::span<const float *const> rows);

} // namespace decode
