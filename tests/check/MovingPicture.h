#pragma once

#include <string>

namespace check
{

/// A frame of something that moves before a camera that stands still, as a PPM file of 64 x 36
/// pixels: one colour on each side of a border that wanders on.
inline std::string MovingPicture(int frame)
{
    std::string image = "P6\n64 36\n255\n";
    for (int y = 0; y < 36; ++y)
        for (int x = 0; x < 64; ++x)
        {
            const bool isLeft = x < 8 + frame;
            for (const int value : {isLeft ? 180 : 90, 60 + x + y, isLeft ? 70 : 140})
                image += char(value);
        }
    return image;
}

} // namespace check
