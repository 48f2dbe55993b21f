#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace decode
{

/// A JPEG of pixels of 8 bits, red, green and blue side by side, row by row. Colours keep their
/// full resolution, so that a single pixel keeps its own. `comment`, where there is one, stands
/// near the beginning. Throws std::runtime_error where the library refuses, std::bad_alloc where
/// there is no memory.
std::string WriteJpeg(const std::vector<std::uint8_t> &pixels, int width, int height,
                      std::string_view comment = {});

} // namespace decode
