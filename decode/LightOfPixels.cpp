#include "decode/LightOfPixels.h"

#include <OpenImageIO/color.h>
#include <OpenImageIO/half.h>
#include <OpenImageIO/strutil.h>
#include <algorithm>
#include <limits>

namespace decode
{

namespace
{

using OIIO::ImageSpec;
using OIIO::TypeDesc;

// ITU-R BT.709-6, 3.2: the luminance of its primaries.
constexpr float k_red = 0.2126f;
constexpr float k_green = 0.7152f;
constexpr float k_blue = 0.0722f;

// More than any light of a picture; infinite values would swallow all sums.
constexpr float k_most_light = 65504;

// Whole numbers are looked up by so many of their upper bits.
constexpr int k_code_bits = 12;
template <typename Value>
constexpr int k_bits_of = std::min(std::numeric_limits<Value>::digits, k_code_bits);

int ChannelOf(const ImageSpec &spec, const std::string &name)
{
    for (int i = 0; i < spec.nchannels; ++i)
        if (OIIO::Strutil::iequals(spec.channelnames[std::size_t(i)], name))
            return i;
    return -1;
}

} // namespace

LightOfPixels::LightOfPixels(const ImageSpec &spec) : m_stride(std::size_t(spec.nchannels))
{
    ChooseChannels(spec);
    const auto use = [this](auto convert)
    {
        m_convert = [this, convert](const char *pixels, int count, float *light)
        { (this->*convert)(pixels, count, light); };
    };
    switch (spec.format.basetype)
    {
    case TypeDesc::UINT8:
        use(&LightOfPixels::ConvertWhole<std::uint8_t>);
        break;
    case TypeDesc::UINT16:
        use(&LightOfPixels::ConvertWhole<std::uint16_t>);
        break;
    case TypeDesc::UINT32:
        use(&LightOfPixels::ConvertWhole<std::uint32_t>);
        break;
    case TypeDesc::HALF:
        use(&LightOfPixels::ConvertReal<half>);
        break;
    case TypeDesc::FLOAT:
        use(&LightOfPixels::ConvertReal<float>);
        break;
    case TypeDesc::DOUBLE:
        use(&LightOfPixels::ConvertReal<double>);
        break;
    case TypeDesc::INT8:
        use(&LightOfPixels::ConvertReal<std::int8_t>);
        break;
    case TypeDesc::INT16:
        use(&LightOfPixels::ConvertReal<std::int16_t>);
        break;
    default:
        use(&LightOfPixels::ConvertReal<std::int32_t>);
    }
}

void LightOfPixels::ChooseChannels(const ImageSpec &spec)
{
    // Without a layer first, else of the first layer that has all three.
    std::vector<std::string> layers{""};
    for (const std::string &name : spec.channelnames)
        layers.push_back(name.substr(0, name.rfind('.') + 1));
    for (const std::string &layer : layers)
    {
        const int red = ChannelOf(spec, layer + "R");
        const int green = ChannelOf(spec, layer + "G");
        const int blue = ChannelOf(spec, layer + "B");
        m_hasColours = red >= 0 && green >= 0 && blue >= 0;
        if (!m_hasColours)
            continue;
        m_channels = {std::size_t(red), std::size_t(green), std::size_t(blue)};
        return;
    }
    m_channels[0] = std::size_t(std::max(ChannelOf(spec, "Y"), 0));
}

// What a channel of each code adds to the light.
template <typename Value> std::vector<float> TableOf(float weight)
{
    std::vector<float> table(std::size_t(1) << k_bits_of<Value>);
    for (std::size_t code = 0; code < table.size(); ++code)
        table[code] = weight * OIIO::sRGB_to_linear(float(code) / float(table.size() - 1));
    return table;
}

template <typename Value>
void LightOfPixels::ConvertWhole(const char *pixels, int count, float *light) const
{
    constexpr int k_shift = std::numeric_limits<Value>::digits - k_bits_of<Value>;
    static const std::vector<float> s_tables[] = {TableOf<Value>(k_red), TableOf<Value>(k_green),
                                                  TableOf<Value>(k_blue), TableOf<Value>(1)};
    const auto *values = reinterpret_cast<const Value *>(pixels);
    const std::size_t stride = m_stride;
    const auto [red, green, blue] = m_channels;
    if (m_hasColours)
    {
        const float *const reds = s_tables[0].data();
        const float *const greens = s_tables[1].data();
        const float *const blues = s_tables[2].data();
        const auto lightOf = [&](const Value *pixel)
        {
            return reds[pixel[red] >> k_shift] + greens[pixel[green] >> k_shift] +
                   blues[pixel[blue] >> k_shift];
        };
        int i = 0;
        // Loads do not wait for stores of other pixels, which might change what they are to load.
        for (; i + 4 <= count; i += 4, values += 4 * stride)
        {
            const float first = lightOf(values);
            const float second = lightOf(values + stride);
            const float third = lightOf(values + 2 * stride);
            const float fourth = lightOf(values + 3 * stride);
            light[i] = first;
            light[i + 1] = second;
            light[i + 2] = third;
            light[i + 3] = fourth;
        }
        for (; i < count; ++i, values += stride)
            light[i] = lightOf(values);
        return;
    }
    const float *const greys = s_tables[3].data();
    values += m_channels[0];
    for (int i = 0; i < count; ++i, values += stride)
        light[i] = greys[*values >> k_shift];
}

template <typename Value>
void LightOfPixels::ConvertReal(const char *pixels, int count, float *light) const
{
    // Also of what is no number at all.
    const auto lightOf = [](Value value)
    {
        const auto number = float(value);
        return number > 0 ? std::min(number, k_most_light) : 0.0f;
    };
    const auto *values = reinterpret_cast<const Value *>(pixels);
    const std::size_t stride = m_stride;
    const auto [red, green, blue] = m_channels;
    if (m_hasColours)
    {
        for (int i = 0; i < count; ++i, values += stride)
            light[i] = k_red * lightOf(values[red]) + k_green * lightOf(values[green]) +
                       k_blue * lightOf(values[blue]);
        return;
    }
    values += m_channels[0];
    for (int i = 0; i < count; ++i, values += stride)
        light[i] = lightOf(*values);
}

} // namespace decode
