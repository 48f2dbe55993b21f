#include "check/pictures/TileRectangle.h"

#include <algorithm>
#include <limits>

namespace check
{

TileGroup TileRectangle::Tiles(int columns) const
{
    TileGroup tiles;
    for (std::size_t row = top; row <= bottom; ++row)
        for (std::size_t column = left; column <= right; ++column)
            tiles.push_back(row * std::size_t(columns) + column);
    return tiles;
}

TileRectangle RectangleAround(std::span<const std::size_t> tiles, int columns)
{
    const auto width = std::size_t(columns);
    TileRectangle around{width, 0, 0, 0};
    for (const std::size_t tile : tiles)
    {
        around.left = std::min(around.left, tile % width);
        around.right = std::max(around.right, tile % width);
    }
    const auto [first, last] = std::ranges::minmax(tiles);
    around.top = first / width;
    around.bottom = last / width;
    return around;
}

float SumOf(std::span<const float> values, int columns, const TileRectangle &rectangle)
{
    float sum = 0;
    for (const std::size_t tile : rectangle.Tiles(columns))
        sum += values[tile];
    return sum;
}

// All pairs of a first and a last row; between them the run of columns with the greatest sum, which
// is found in one go (J. Kadane's way; see J. Bentley, Programming Pearls, column 8).
TileRectangle GreatestRectangle(std::span<const float> values, int columns)
{
    const auto width = std::size_t(columns);
    const std::size_t rows = values.size() / width;
    TileRectangle found;
    float most = -std::numeric_limits<float>::max();
    for (std::size_t top = 0; top < rows; ++top)
    {
        std::vector<float> sums(width);
        for (std::size_t bottom = top; bottom < rows; ++bottom)
        {
            float run = 0;
            std::size_t left = 0;
            for (std::size_t column = 0; column < width; ++column)
            {
                sums[column] += values[bottom * width + column];
                if (run <= 0)
                {
                    run = 0;
                    left = column;
                }
                run += sums[column];
                if (run > most)
                {
                    most = run;
                    found = {left, top, column, bottom};
                }
            }
        }
    }
    return found;
}

} // namespace check
