#include "tests/decode/SampleImage.h"

#include <cmath>
#include <cstdint>

#include <gtest/gtest.h>

using OIIO::ImageOutput;
using OIIO::ImageSpec;

namespace
{

std::vector<float> PixelsOf(const ImageSpec &spec, const PixelValue &value)
{
    std::vector<float> pixels;
    for (int y = 0; y < spec.height; ++y)
        for (int x = 0; x < spec.width; ++x)
            for (int channel = 0; channel < spec.nchannels; ++channel)
                pixels.push_back(value(x, y, channel));
    return pixels;
}

} // namespace

float WavyPixel(int x, int y, int channel)
{
    std::uint32_t noise = std::uint32_t(x) * 73856093u ^ std::uint32_t(y) * 19349663u ^
                          std::uint32_t(channel) * 83492791u;
    noise = (noise ^ noise >> 13) * 1274126177u;
    return 0.5f + 0.3f * std::sin(float(x) * 0.05f + float(channel)) * std::cos(float(y) * 0.03f) +
           float(noise >> 16 & 1023) / 1024.0f * 0.05f;
}

PixelValue Constant(std::vector<float> values)
{
    return [values](int, int, int channel) { return values.at(std::size_t(channel)); };
}

ImageSpec Tiled(ImageSpec spec)
{
    spec.tile_width = spec.tile_height = 64;
    return spec;
}

void WriteImage(const ostrel::Path &path, const ImageSpec &spec, const PixelValue &value)
{
    WriteParts(path, {spec}, value);
}

void WriteParts(const ostrel::Path &path, const std::vector<ImageSpec> &parts,
                const PixelValue &value)
{
    const std::unique_ptr<ImageOutput> file = ImageOutput::create(path.Text());
    ASSERT_TRUE(file) << OIIO::geterror();
    ASSERT_TRUE(parts.size() == 1 ? file->open(path.Text(), parts.front())
                                  : file->open(path.Text(), int(parts.size()), parts.data()))
        << file->geterror();
    for (std::size_t part = 0; part < parts.size(); ++part)
    {
        ASSERT_TRUE(part == 0 || file->open(path.Text(), parts[part], ImageOutput::AppendSubimage));
        ASSERT_TRUE(file->write_image(OIIO::TypeFloat, PixelsOf(parts[part], value).data()))
            << file->geterror();
    }
    ASSERT_TRUE(file->close()) << file->geterror();
}
