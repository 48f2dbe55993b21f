#include "check/pictures/PassingThings.h"

#include <algorithm>
#include <cmath>

#include "check/pictures/PictureRules.h"

namespace check
{

namespace
{

struct Place
{
    int column;
    int row;
};

// What a tile has that the frames beside do not have there, as much of it as is alone.
TileLook OddityOf(const TileLooks &looks, std::size_t frame, std::size_t tile)
{
    TileLook odd = looks.At(frame, tile);
    const TileLook &before = looks.At(frame - 1, tile);
    const TileLook &after = looks.At(frame + 1, tile);
    float whole = 0;
    for (std::size_t i = 0; i < odd.size(); ++i)
    {
        odd[i] -= (before[i] + after[i]) / 2;
        whole += std::abs(odd[i]);
    }
    const float alone = AloneBy(looks, frame, tile);
    for (float &value : odd)
        value *= whole > 0 ? alone / whole : 0;
    return odd;
}

TileLook Difference(TileLook one, const TileLook &other)
{
    for (std::size_t i = 0; i < one.size(); ++i)
        one[i] -= other[i];
    return one;
}

} // namespace

float AloneBy(const TileLooks &looks, std::size_t frame, std::size_t tile)
{
    return std::max(0.0f, std::min(looks.Distance(frame, frame - 1, tile),
                                   looks.Distance(frame, frame + 1, tile)) -
                              looks.Distance(frame - 1, frame + 1, tile));
}

TileLook OddityOf(const TileLooks &looks, std::size_t frame, const TileGroup &tiles)
{
    TileLook all{};
    for (const std::size_t tile : tiles)
    {
        const TileLook odd = OddityOf(looks, frame, tile);
        for (std::size_t i = 0; i < all.size(); ++i)
            all[i] += odd[i];
    }
    return all;
}

FoundAgain FindAgain(const PictureSequence &pictures, const TileLooks &looks, std::size_t frame,
                     const TileGroup &tiles)
{
    const int columns = pictures.Columns();
    const int rows = pictures.Rows();
    std::vector<TileLook> odd;
    std::vector<Place> places;
    float whole = 0;
    for (const std::size_t tile : tiles)
    {
        odd.push_back(OddityOf(looks, frame, tile));
        places.push_back({int(tile) % columns, int(tile) / columns});
        whole += ProductOf(odd.back(), odd.back());
    }
    if (whole == 0)
        return {};
    std::vector<TileLook> change;
    for (std::size_t tile = 0; tile < pictures.Tiles(); ++tile)
        change.push_back(Difference(looks.At(frame - 1, tile), looks.At(frame + 1, tile)));

    constexpr int k_way = picture_rules::k_StrayWay;
    FoundAgain found;
    for (int down = -k_way; down <= k_way; ++down)
        for (int across = -k_way; across <= k_way; ++across)
        {
            float common = 0;
            float there = 0;
            for (std::size_t i = 0; i < odd.size(); ++i)
            {
                const int column = places[i].column + across;
                const int row = places[i].row + down;
                if (column < 0 || row < 0 || column >= columns || row >= rows)
                    continue;
                const TileLook &other = change[std::size_t(row * columns + column)];
                common += ProductOf(odd[i], other);
                there += ProductOf(other, other);
            }
            if (there == 0)
                continue;
            found.share = std::max(found.share, std::abs(common) / whole);
            found.likeness = std::max(found.likeness, std::abs(common) / std::sqrt(there * whole));
        }
    return found;
}

} // namespace check
