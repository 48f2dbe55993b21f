#pragma once

#include <span>

#include "check/pictures/TileArea.h"

namespace check
{

/// A rectangle of tiles on a grid; its ends are tiles of it.
struct TileRectangle
{
    std::size_t left = 0;
    std::size_t top = 0;
    std::size_t right = 0;
    std::size_t bottom = 0;

    std::size_t Area() const
    {
        return (right - left + 1) * (bottom - top + 1);
    }
    TileGroup Tiles(int columns) const;
};

/// The smallest that has them all; there is one at least.
TileRectangle RectangleAround(std::span<const std::size_t> tiles, int columns);

/// The sum of what a grid so wide has in a rectangle.
float SumOf(std::span<const float> values, int columns, const TileRectangle &rectangle);

/// The rectangle with the greatest sum, where some values are below 0. For grids of some hundred
/// tiles: the cost is that of rows * rows * columns.
TileRectangle GreatestRectangle(std::span<const float> values, int columns);

} // namespace check
