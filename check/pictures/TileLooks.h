#pragma once

#include <array>
#include <vector>

#include "check/pictures/PictureSequence.h"

namespace check
{

/// What tells tiles apart, each in stops or parts of them, so that they can be added up.
using TileLook = std::array<float, 5>;
enum TileFeature : std::size_t
{
    k_Light,
    k_Across, ///< How light falls off from side to side, and from top to bottom.
    k_Down,
    k_Detail,
    k_Greatest,
};
/// What slopes, detail and the brightest pixel are divided by: they are coarse, and shake.
inline constexpr float k_SlopeWeight = 2;
inline constexpr float k_CoarseWeight = 4;

/// The sum of what they differ by, in stops.
float DistanceOf(const TileLook &one, const TileLook &other);

/// The sum of the products of what they have.
float ProductOf(const TileLook &one, const TileLook &other);

/// How much they point the same way, the cosine of the angle between them: 1 where one is a
/// multiple of the other, 0 where they have nothing in common or one is nothing.
float LikenessOf(const TileLook &one, const TileLook &other);

/// The looks of all tiles of a sequence. Frames of which nothing is known have looks that say
/// nothing.
class TileLooks
{
public:
    explicit TileLooks(const PictureSequence &pictures);

    const TileLook &At(std::size_t frame, std::size_t tile) const
    {
        return m_looks[frame * m_tiles + tile];
    }
    float Distance(std::size_t frame, std::size_t other, std::size_t tile) const
    {
        return DistanceOf(At(frame, tile), At(other, tile));
    }

private:
    std::size_t m_tiles;
    std::vector<TileLook> m_looks;
};

} // namespace check
