#pragma once

#include <cstdint>
#include <vector>

namespace decode
{

/// The orientations of EXIF: how stored rows and columns lie in what is looked at. 1 is as stored;
/// from 5 on, width and height change places.
inline constexpr int k_Upright = 1;
inline constexpr int k_LastOrientation = 8;
inline constexpr int k_FirstOnItsSide = 5;

/// Turns and mirrors pixels of three bytes, row by row, of `width` times `height`, by an
/// orientation from 1 to 8.
std::vector<std::uint8_t> TurnPixels(std::vector<std::uint8_t> pixels, int width, int height,
                                     int orientation);

} // namespace decode
