#pragma once

#include <OpenImageIO/imageio.h>
#include <array>
#include <bit>
#include <functional>

namespace decode
{

/// Turns pixels of a part into light: the luminance of linear values, 0 for what is none.
class LightOfPixels
{
public:
    /// Of its channels the colours count: R, G and B, else those of the first layer that has them;
    /// else Y; else the first.
    explicit LightOfPixels(const OIIO::ImageSpec &spec);
    LightOfPixels(const LightOfPixels &) = delete;
    LightOfPixels &operator=(const LightOfPixels &) = delete;

    /// `pixels` are `count` pixels of the part, all channels side by side in its type.
    void Convert(const char *pixels, int count, float *light) const
    {
        m_convert(pixels, count, light);
    }

private:
    template <typename Value> void ConvertWhole(const char *pixels, int count, float *light) const;
    template <typename Value> void ConvertReal(const char *pixels, int count, float *light) const;
    void ChooseChannels(const OIIO::ImageSpec &spec);
    /// Red, green and blue, nothing between them, and what is first in memory lowest in a word.
    bool IsPlainColour() const
    {
        return std::endian::native == std::endian::little && m_stride == 3 && m_hasColours &&
               m_channels == std::array<std::size_t, 3>{0, 1, 2};
    }

    std::size_t m_stride;
    std::array<std::size_t, 3> m_channels{};
    bool m_hasColours = false;
    std::function<void(const char *, int, float *)> m_convert;
};

} // namespace decode
