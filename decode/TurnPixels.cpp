#include "decode/TurnPixels.h"

#include <algorithm>
#include <cstddef>

namespace decode
{

namespace
{

constexpr std::size_t k_bytes = 3; // Of a pixel.

// Along which of the stored directions what is looked at goes, and from which end.
struct Way
{
    bool isSwapped;   // To the right is down a stored column, and down is along a row.
    bool isXBackward; // From the end of the stored rows.
    bool isYBackward; // From the end of the stored columns.
};

Way WayOf(int orientation)
{
    switch (orientation)
    {
    case 2:
        return {false, true, false};
    case 3:
        return {false, true, true};
    case 4:
        return {false, false, true};
    case 5:
        return {true, false, false};
    case 6:
        return {true, false, true};
    case 7:
        return {true, true, true};
    case 8:
        return {true, true, false};
    default:
        return {false, false, false};
    }
}

} // namespace

std::vector<std::uint8_t> TurnPixels(std::vector<std::uint8_t> pixels, int width, int height,
                                     int orientation)
{
    const Way way = WayOf(orientation);
    if (!way.isSwapped && !way.isXBackward && !way.isYBackward)
        return pixels;
    const int newWidth = way.isSwapped ? height : width;
    const int newHeight = way.isSwapped ? width : height;
    std::vector<std::uint8_t> turned(pixels.size());
    std::uint8_t *to = turned.data();
    for (int newY = 0; newY < newHeight; ++newY)
        for (int newX = 0; newX < newWidth; ++newX, to += k_bytes)
        {
            const int x = way.isSwapped ? newY : newX;
            const int y = way.isSwapped ? newX : newY;
            const auto column = std::size_t(way.isXBackward ? width - 1 - x : x);
            const auto row = std::size_t(way.isYBackward ? height - 1 - y : y);
            std::copy_n(pixels.data() + (row * std::size_t(width) + column) * k_bytes, k_bytes, to);
        }
    return turned;
}

} // namespace decode
