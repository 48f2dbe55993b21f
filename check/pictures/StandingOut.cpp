#include "check/pictures/StandingOut.h"

#include <cmath>

namespace check
{

namespace
{

float Step(const TileLook &one, const TileLook &other)
{
    // Slopes are those of what a tile holds: they say nothing of what is beside it.
    float sum = 0;
    for (const TileFeature feature : {k_Light, k_Detail, k_Greatest})
        sum += std::abs(one[feature] - other[feature]);
    return sum;
}

} // namespace

float StandingOut(const PictureSequence &pictures, const TileLooks &looks, std::size_t frame,
                  const TileGroup &tiles)
{
    const auto columns = std::size_t(pictures.Columns());
    std::vector<bool> isOne(pictures.Tiles());
    for (const std::size_t tile : tiles)
        isOne[tile] = true;
    float now = 0;
    float before = 0;
    float after = 0;
    const auto add = [&](std::size_t tile, std::size_t other)
    {
        if (isOne[other])
            return;
        now += Step(looks.At(frame, tile), looks.At(frame, other));
        before += Step(looks.At(frame - 1, tile), looks.At(frame - 1, other));
        after += Step(looks.At(frame + 1, tile), looks.At(frame + 1, other));
    };
    for (const std::size_t tile : tiles)
    {
        if (tile % columns > 0)
            add(tile, tile - 1);
        if ((tile + 1) % columns > 0)
            add(tile, tile + 1);
        if (tile >= columns)
            add(tile, tile - columns);
        if (tile + columns < isOne.size())
            add(tile, tile + columns);
    }
    const float beside = (before + after) / 2;
    return beside > 0 ? now / beside : 1;
}

} // namespace check
