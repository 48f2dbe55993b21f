#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "ostrel/Path.h"

namespace decode
{

using ostrel::Path;
using ostrel::String;

/// What of an image is shown: its colours, or one value of each pixel as a grey.
enum class PictureChannels
{
    Rgb,
    Red,
    Green,
    Blue,
    Alpha, ///< As it is: one half is the grey 128. White where an image has none.
    Luma,  ///< By the weights of Rec. 709, in linear light.
};

inline constexpr int k_LeastPictureWidth = 16;
inline constexpr int k_MostPictureWidth = 4096; ///< The most rows that a picture has, too.
inline constexpr float k_MostPictureExposure = 20.0f;
/// A picture of the largest size is less than half of it.
inline constexpr std::size_t k_MostPictureBytes = 64u << 20;

/// How an image is to be shown.
struct PictureWish
{
    int width = 256;       ///< Pixels, at most: a smaller image keeps its size.
    float exposure = 0.0f; ///< In stops, from -k_MostPictureExposure to it.
    PictureChannels channels = PictureChannels::Rgb;
    Path minus{}; ///< The image that is subtracted, of which the differences' amounts are shown;
                  ///< none where empty.

    bool operator==(const PictureWish &) const = default;
};

/// Whether all numbers are within their bounds.
bool IsSound(const PictureWish &wish);

/// "rgb", "r", "g", "b", "a" or "luma".
std::optional<PictureChannels> ParseChannels(std::string_view name);
std::string_view ChannelsName(PictureChannels channels);

} // namespace decode
