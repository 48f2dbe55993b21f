#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/TempFolder.h"

/// What a picture looks like once it is unpacked.
struct Shown
{
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> pixels;

    int At(int x, int y, int channel) const
    {
        return pixels.at((std::size_t(y) * std::size_t(width) + std::size_t(x)) * 3 +
                         std::size_t(channel));
    }
};

/// Unpacks a JPEG, by a file in the folder; fails the test when it is none of three channels.
Shown Unpacked(const std::string &jpeg, const TempFolder &folder);

/// What a value of linear light is as 8 bits of sRGB, by the curve's definition.
int Coded(double linear);
