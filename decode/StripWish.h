#pragma once

#include <optional>
#include <string_view>

#include "ostrel/Path.h"

namespace decode
{

using ostrel::Path;

/// A rectangle of an image as it lies in the file, in pixels from the upper left corner of its
/// display window.
struct StripPlace
{
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    bool operator==(const StripPlace &) const = default;
};

inline constexpr int k_MostStripPlace = 1 << 20; ///< Of each of the four numbers.
inline constexpr int k_LeastStripSide = 32;
inline constexpr int k_MostStripSide = 1024;

/// What stands for the pixels of an area where a place is made smaller.
enum class StripCells
{
    Mean,
    Brightest, ///< The pixel with the most light: single sparks would go down in a mean.
};

/// How a place of an image is to be shown beside the same place of its neighbours.
struct StripWish
{
    StripPlace place;
    Path before{}; ///< The image to its left; none where empty.
    Path after{};
    int side = 480; ///< Pixels of the square that each of the three fits into.
    StripCells cells = StripCells::Mean;

    bool operator==(const StripWish &) const = default;
};

/// Whether all numbers are within their bounds, and the place is not empty. It may well lie outside
/// of the image.
bool IsSound(const StripWish &wish);

/// "mean" or "brightest".
std::optional<StripCells> ParseCells(std::string_view name);
std::string_view CellsName(StripCells cells);

/// What the bytes of each strip say near their beginning, so that it is told from other JPEGs.
inline constexpr std::string_view k_StripMark = "place of a frame between its neighbours";
/// Within so many bytes.
inline constexpr std::size_t k_StripMarkEnd = 128;

} // namespace decode
