#include "decode/PaintPixels.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace decode
{

namespace
{

using Colour = std::array<std::uint8_t, 3>;

constexpr Colour k_wild_colour{255, 0, 255};

// From linear light to 8 bits by the curve of sRGB; by a table fine enough for its steepest part.
class SrgbCurve
{
public:
    SrgbCurve()
    {
        for (std::size_t i = 0; i < m_table.size(); ++i)
        {
            const double linear = double(i) / double(m_table.size() - 1);
            const double coded =
                linear <= 0.0031308 ? linear * 12.92 : 1.055 * std::pow(linear, 1 / 2.4) - 0.055;
            m_table[i] = std::uint8_t(std::lround(coded * 255));
        }
    }

    std::uint8_t operator()(float linear) const
    {
        // Whatever is not above 0, sums that are no number too, is dark.
        const float bounded = linear > 0.0f ? std::min(linear, 1.0f) : 0.0f;
        return m_table[std::size_t(bounded * float(m_table.size() - 1) + 0.5f)];
    }

private:
    std::vector<std::uint8_t> m_table = std::vector<std::uint8_t>(1u << 17);
};

std::uint8_t LinearByte(float value)
{
    return std::uint8_t((value > 0.0f ? std::min(value, 1.0f) : 0.0f) * 255.0f + 0.5f);
}

Colour ColourOf(const float *pixel, PictureChannels channels, float gain)
{
    static const SrgbCurve s_srgb;
    const auto grey = [](std::uint8_t value) { return Colour{value, value, value}; };
    switch (channels)
    {
    case PictureChannels::Rgb:
        return {s_srgb(pixel[0] * gain), s_srgb(pixel[1] * gain), s_srgb(pixel[2] * gain)};
    case PictureChannels::Red:
        return grey(s_srgb(pixel[0] * gain));
    case PictureChannels::Green:
        return grey(s_srgb(pixel[1] * gain));
    case PictureChannels::Blue:
        return grey(s_srgb(pixel[2] * gain));
    case PictureChannels::Alpha:
        return grey(LinearByte(pixel[3] * gain));
    case PictureChannels::Luma:
        return grey(s_srgb(LumaOf(pixel) * gain));
    }
    return k_wild_colour;
}

} // namespace

std::vector<std::uint8_t> PaintPixels(const AreaAverage &average, PictureChannels channels,
                                      float exposure)
{
    const float gain = std::exp2(exposure);
    std::vector<std::uint8_t> bytes;
    bytes.reserve(average.Pixels().size() / 4 * 3);
    for (std::size_t pixel = 0; pixel < average.Pixels().size() / 4; ++pixel)
    {
        const Colour colour = average.IsWild(pixel)
                                  ? k_wild_colour
                                  : ColourOf(average.Pixels().data() + pixel * 4, channels, gain);
        bytes.insert(bytes.end(), colour.begin(), colour.end());
    }
    return bytes;
}

} // namespace decode
