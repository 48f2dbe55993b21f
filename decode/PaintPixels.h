#pragma once

#include <cstdint>
#include <vector>

#include "decode/AreaAverage.h"
#include "decode/PictureWish.h"

namespace decode
{

/// The luminance of a pixel in linear light, by the weights of Rec. 709.
inline float LumaOf(const float *pixel)
{
    return 0.2126f * pixel[0] + 0.7152f * pixel[1] + 0.0722f * pixel[2];
}

/// Pixels in linear light as they are shown: 8 bits by the curve of sRGB, red, green and blue side
/// by side, row by row. `exposure` is in stops. A pixel whose area holds a value that is no finite
/// number is magenta.
std::vector<std::uint8_t> PaintPixels(const AreaAverage &average, PictureChannels channels,
                                      float exposure);

} // namespace decode
