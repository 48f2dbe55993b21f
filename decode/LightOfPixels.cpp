#include "decode/LightOfPixels.h"

#include <OpenImageIO/color.h>
#include <OpenImageIO/half.h>
#include <OpenImageIO/strutil.h>
#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

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

// What a channel of each code adds.
struct ColourTables
{
    const float *red;
    const float *green;
    const float *blue;
};

template <typename Value> std::uint64_t WordAt(const Value *values, std::size_t number)
{
    std::uint64_t word;
    std::memcpy(&word, values + number * (sizeof word / sizeof(Value)), sizeof word);
    return word;
}

// The code of one of the values in three words.
template <typename Value, std::size_t number>
std::size_t CodeIn(std::uint64_t first, std::uint64_t second, std::uint64_t third)
{
    constexpr std::size_t k_digits = std::numeric_limits<Value>::digits;
    constexpr std::size_t k_in_word = 64 / k_digits;
    const std::uint64_t word = number < k_in_word ? first : number < 2 * k_in_word ? second : third;
    return word >> (number % k_in_word * k_digits + k_digits -
                    k_bits_of<Value>)&((1u << k_bits_of<Value>)-1);
}

// It is loads that this waits for: a word has eight values of 8 bits. And all of them come before
// what is stored, which to the compiler might change a table.
template <typename Value, std::size_t... pixel>
void ConvertThreeWords(const Value *values, const ColourTables &tables, float *light,
                       std::index_sequence<pixel...>)
{
    const std::uint64_t first = WordAt(values, 0);
    const std::uint64_t second = WordAt(values, 1);
    const std::uint64_t third = WordAt(values, 2);
    const float lights[] = {(tables.red[CodeIn<Value, pixel * 3>(first, second, third)] +
                             tables.green[CodeIn<Value, pixel * 3 + 1>(first, second, third)] +
                             tables.blue[CodeIn<Value, pixel * 3 + 2>(first, second, third)])...};
    std::memcpy(light, lights, sizeof lights);
}

// Pixels of red, green and blue, as many as fill words. Gives how many these are.
template <typename Value>
int ConvertWords(const Value *values, int count, const ColourTables &tables, float *light)
{
    constexpr int k_at_once = 64 / std::numeric_limits<Value>::digits;
    int done = 0;
    for (; done + k_at_once <= count; done += k_at_once)
        ConvertThreeWords(values + std::ptrdiff_t(done) * 3, tables, light + done,
                          std::make_index_sequence<k_at_once>());
    return done;
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
        const int done =
            IsPlainColour() ? ConvertWords(values, count, {reds, greens, blues}, light) : 0;
        values += std::size_t(done) * stride;
        for (int i = done; i < count; ++i, values += stride)
            light[i] = reds[values[red] >> k_shift] + greens[values[green] >> k_shift] +
                       blues[values[blue] >> k_shift];
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
