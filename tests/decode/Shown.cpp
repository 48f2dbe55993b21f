#include "tests/decode/Shown.h"

#include <OpenImageIO/imageio.h>
#include <algorithm>
#include <cmath>

#include <gtest/gtest.h>

Shown Unpacked(const std::string &jpeg, const TempFolder &folder)
{
    const ostrel::Path path = folder.MakeFile("shown.jpg", jpeg);
    Shown shown;
    const auto image = OIIO::ImageInput::open(path.Text());
    if (!image)
    {
        ADD_FAILURE() << "no picture: " << OIIO::geterror();
        return shown;
    }
    shown.width = image->spec().width;
    shown.height = image->spec().height;
    EXPECT_EQ(image->spec().nchannels, 3);
    shown.pixels.resize(std::size_t(shown.width) * std::size_t(shown.height) * 3);
    EXPECT_TRUE(image->read_image(0, 0, 0, 3, OIIO::TypeUInt8, shown.pixels.data()));
    return shown;
}

int Coded(double linear)
{
    linear = std::clamp(linear, 0.0, 1.0);
    return int(
        std::lround(255 * (linear <= 0.0031308 ? 12.92 * linear
                                               : 1.055 * std::pow(linear, 1.0 / 2.4) - 0.055)));
}
