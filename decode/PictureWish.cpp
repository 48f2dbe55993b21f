#include "decode/PictureWish.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace decode
{

namespace
{

// In the order of the enumeration.
constexpr std::string_view k_channels_names[] = {"rgb", "r", "g", "b", "a", "luma"};

} // namespace

bool IsSound(const PictureWish &wish)
{
    return wish.width >= k_LeastPictureWidth && wish.width <= k_MostPictureWidth &&
           std::abs(wish.exposure) <= k_MostPictureExposure &&
           std::size_t(wish.channels) < std::size(k_channels_names);
}

std::optional<PictureChannels> ParseChannels(std::string_view name)
{
    const auto found = std::find(std::begin(k_channels_names), std::end(k_channels_names), name);
    if (found == std::end(k_channels_names))
        return std::nullopt;
    return PictureChannels(found - std::begin(k_channels_names));
}

std::string_view ChannelsName(PictureChannels channels)
{
    return k_channels_names[std::size_t(channels)];
}

} // namespace decode
