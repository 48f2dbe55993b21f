#pragma once

#include <OpenImageIO/imageio.h>
#include <cstdint>
#include <string>
#include <vector>

#include "decode/PixelBlock.h"

namespace decode
{

/// Counts what is wrong with the pixels of one part of an image, piece by piece.
class PixelTally
{
public:
    /// `type` is that of every value that will come.
    PixelTally(OIIO::TypeDesc type, int channels);

    /// Adds pixels that lie in one piece of memory, all channels of a pixel side by side.
    void Add(const void *pixels, std::uint64_t count);
    void Add(const PixelBlock &block);

    /// Pixels with a negative value in one of these channels are counted from here on.
    void CountNegative(std::vector<std::size_t> channels)
    {
        m_colours = std::move(channels);
    }
    std::uint64_t NegativePixels() const
    {
        return m_negativePixels;
    }

    std::uint64_t Pixels() const
    {
        return m_pixels;
    }
    /// Pixels with at least one value that is not a number.
    std::uint64_t NanPixels() const
    {
        return m_nanPixels;
    }
    /// Pixels with at least one infinite value, and none that is not a number.
    std::uint64_t InfinitePixels() const
    {
        return m_infinitePixels;
    }
    /// Whether a channel holds such values.
    bool IsWild(int channel) const
    {
        return m_wildChannels[std::size_t(channel)];
    }

    /// More than one pixel came, and all are the same to the bit.
    bool IsOneColour() const
    {
        return m_isOneColour && m_pixels > 1;
    }
    /// The values of the first pixel, "0, 0.5, 1": whole numbers as they are stored.
    std::string FirstColour() const;

private:
    void CompareWithFirst(const char *pixels, std::uint64_t count);
    template <typename Value> void CountWild(const Value *values, std::uint64_t count);

    template <typename Value> void CountNegative(const Value *values, std::uint64_t count);

    OIIO::TypeDesc m_type;
    std::size_t m_channels;
    std::size_t m_pixelBytes;
    std::uint64_t m_pixels = 0;
    std::uint64_t m_nanPixels = 0;
    std::uint64_t m_infinitePixels = 0;
    std::uint64_t m_negativePixels = 0;
    std::vector<std::size_t> m_colours;
    std::vector<bool> m_wildChannels;
    std::vector<char> m_first;
    bool m_isOneColour = true;
};

} // namespace decode
