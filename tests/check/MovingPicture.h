#pragma once

#include <algorithm>
#include <string>

namespace check
{

/// A frame of something that moves before a camera that stands still, as a PPM file of 64 x 36
/// pixels: one colour on each side of a border that wanders on, half a pixel a frame, for 112
/// frames. `brighter` is added to all values: 60 at most.
inline std::string MovingPicture(int frame, int brighter = 0)
{
    std::string image = "P6\n64 36\n255\n";
    for (int y = 0; y < 36; ++y)
        for (int x = 0; x < 64; ++x)
        {
            // Halves of a pixel that are left of the border.
            const int left = std::clamp(16 + frame - 2 * x, 0, 2);
            for (const int value : {90 + 45 * left, 60 + x + y, 140 - 35 * left})
                image += char(value + brighter);
        }
    return image;
}

} // namespace check
