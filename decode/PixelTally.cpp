#include "decode/PixelTally.h"

#include <OpenImageIO/half.h>
#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstring>
#include <fmt/format.h>

namespace decode
{

namespace
{

enum class Kind
{
    Number,
    Infinite,
    Nan,
};

Kind NumberKindOf(half value)
{
    return value.isFinite() ? Kind::Number : value.isNan() ? Kind::Nan : Kind::Infinite;
}

template <typename Float> Kind NumberKindOf(Float value)
{
    return std::isfinite(value) ? Kind::Number : std::isnan(value) ? Kind::Nan : Kind::Infinite;
}

// Nearly always all values are numbers: this loop has no branch, so that it runs as fast as memory.
template <typename Value> bool HasWild(const Value *values, std::size_t count)
{
    bool isWild = false;
    for (std::size_t i = 0; i < count; ++i)
        isWild |= NumberKindOf(values[i]) != Kind::Number;
    return isWild;
}

bool IsNegative(half value)
{
    return value.isNegative() && !value.isZero() && !value.isNan();
}

template <typename Float> bool IsNegative(Float value)
{
    return value < 0;
}

template <typename Value> bool HasNegative(const Value *values, std::size_t count)
{
    bool isNegative = false;
    for (std::size_t i = 0; i < count; ++i)
        isNegative |= IsNegative(values[i]);
    return isNegative;
}

template <typename Value> std::string ValueTexts(const std::vector<char> &pixel, std::size_t count)
{
    constexpr std::size_t k_most = 8;
    std::string text;
    for (std::size_t i = 0; i < std::min(count, k_most); ++i)
    {
        Value value;
        std::memcpy(&value, pixel.data() + i * sizeof value, sizeof value);
        if constexpr (std::is_integral_v<Value>)
            text += fmt::format("{}{}", i ? ", " : "", value);
        else
            text += fmt::format("{}{:g}", i ? ", " : "", double(value));
    }
    return count > k_most ? text + ", ..." : text;
}

} // namespace

PixelTally::PixelTally(OIIO::TypeDesc type, int channels)
    : m_type(type), m_channels(std::size_t(channels)), m_pixelBytes(m_channels * type.size()),
      m_wildChannels(m_channels)
{
}

void PixelTally::Add(const void *pixels, std::uint64_t count)
{
    if (count == 0 || m_channels == 0)
        return;
    CompareWithFirst(static_cast<const char *>(pixels), count);
    if (m_type == OIIO::TypeHalf)
        CountWild(static_cast<const half *>(pixels), count);
    else if (m_type == OIIO::TypeFloat)
        CountWild(static_cast<const float *>(pixels), count);
    else if (m_type == OIIO::TypeDesc(OIIO::TypeDesc::DOUBLE))
        CountWild(static_cast<const double *>(pixels), count);
    m_pixels += count;
}

void PixelTally::Add(const PixelBlock &block)
{
    if (block.stride == block.width)
        return Add(block.pixels, std::uint64_t(block.width) * std::uint64_t(block.height));
    for (int row = 0; row < block.height; ++row)
        Add(block.pixels + std::size_t(row) * std::size_t(block.stride) * m_pixelBytes,
            std::uint64_t(block.width));
}

void PixelTally::CompareWithFirst(const char *pixels, std::uint64_t count)
{
    if (!m_isOneColour)
        return;
    if (m_first.empty())
        m_first.assign(pixels, pixels + m_pixelBytes);
    // All are the first when each is the one before it.
    m_isOneColour = std::equal(m_first.begin(), m_first.end(), pixels) &&
                    std::memcmp(pixels, pixels + m_pixelBytes, (count - 1) * m_pixelBytes) == 0;
}

template <typename Value> void PixelTally::CountWild(const Value *values, std::uint64_t count)
{
    CountNegative(values, count);
    if (!HasWild(values, count * m_channels))
        return;
    for (std::uint64_t pixel = 0; pixel < count; ++pixel)
    {
        bool isNan = false;
        bool isInfinite = false;
        for (std::size_t channel = 0; channel < m_channels; ++channel)
        {
            const Kind kind = NumberKindOf(values[pixel * m_channels + channel]);
            isNan |= kind == Kind::Nan;
            isInfinite |= kind == Kind::Infinite;
            if (kind != Kind::Number)
                m_wildChannels[channel] = true;
        }
        m_nanPixels += isNan;
        m_infinitePixels += isInfinite && !isNan;
    }
}

template <typename Value> void PixelTally::CountNegative(const Value *values, std::uint64_t count)
{
    if (m_colours.empty() || !HasNegative(values, count * m_channels))
        return;
    for (std::uint64_t pixel = 0; pixel < count; ++pixel)
        m_negativePixels +=
            std::ranges::any_of(m_colours, [&](std::size_t channel)
                                { return IsNegative(values[pixel * m_channels + channel]); });
}

std::string PixelTally::FirstColour() const
{
    switch (m_type.basetype)
    {
    case OIIO::TypeDesc::UINT8:
        return ValueTexts<std::uint8_t>(m_first, m_channels);
    case OIIO::TypeDesc::INT8:
        return ValueTexts<std::int8_t>(m_first, m_channels);
    case OIIO::TypeDesc::UINT16:
        return ValueTexts<std::uint16_t>(m_first, m_channels);
    case OIIO::TypeDesc::INT16:
        return ValueTexts<std::int16_t>(m_first, m_channels);
    case OIIO::TypeDesc::UINT32:
        return ValueTexts<std::uint32_t>(m_first, m_channels);
    case OIIO::TypeDesc::INT32:
        return ValueTexts<std::int32_t>(m_first, m_channels);
    case OIIO::TypeDesc::HALF:
        return ValueTexts<half>(m_first, m_channels);
    case OIIO::TypeDesc::FLOAT:
        return ValueTexts<float>(m_first, m_channels);
    case OIIO::TypeDesc::DOUBLE:
        return ValueTexts<double>(m_first, m_channels);
    default:
        return "of one colour";
    }
}

} // namespace decode
