#include "check/pictures/TileArea.h"

#include <algorithm>
#include <fmt/format.h>

#include "check/pictures/TileRectangle.h"

namespace check
{

using decode::PictureMeasures;

namespace
{

// Takes the group of a tile out of those that are left.
TileGroup TakeGroup(std::vector<bool> &isLeft, int columns, std::size_t first)
{
    TileGroup group;
    const auto take = [&](std::size_t tile)
    {
        if (!isLeft[tile])
            return;
        isLeft[tile] = false;
        group.push_back(tile);
    };
    take(first);
    const auto width = std::size_t(columns);
    for (std::size_t next = 0; next < group.size(); ++next)
    {
        const std::size_t tile = group[next];
        if (tile % width > 0)
            take(tile - 1);
        if (tile % width + 1 < width)
            take(tile + 1);
        if (tile >= width)
            take(tile - width);
        if (tile + width < isLeft.size())
            take(tile + width);
    }
    return group;
}

} // namespace

std::vector<TileGroup> FindGroups(const std::vector<bool> &isMarked, int columns)
{
    std::vector<bool> isLeft = isMarked;
    std::vector<TileGroup> groups;
    for (std::size_t tile = 0; tile < isLeft.size(); ++tile)
        if (isLeft[tile])
            groups.push_back(TakeGroup(isLeft, columns, tile));
    return groups;
}

TileGroup GroupAround(const std::vector<bool> &isMarked, int columns, std::size_t tile)
{
    std::vector<bool> isLeft = isMarked;
    return TakeGroup(isLeft, columns, tile);
}

float FillOf(const TileGroup &group, int columns)
{
    const TileRectangle around = RectangleAround(group, columns);
    return float(group.size()) / float(around.Area());
}

int GapBetween(const TileGroup &one, const TileGroup &other, int columns)
{
    const TileRectangle first = RectangleAround(one, columns);
    const TileRectangle second = RectangleAround(other, columns);
    const auto between = [](std::size_t end, std::size_t begin)
    { return begin > end ? int(begin - end) - 1 : 0; };
    return std::max({between(first.right, second.left), between(second.right, first.left),
                     between(first.bottom, second.top), between(second.bottom, first.top)});
}

PicturePlace PlaceOf(const PictureMeasures &measures, std::span<const std::size_t> tiles)
{
    if (tiles.empty())
        return WholeOf(measures);
    const auto [left, top, right, bottom] = RectangleAround(tiles, measures.columns);
    const std::vector<int> xs = decode::TileEdges(measures.width, measures.columns);
    const std::vector<int> ys = decode::TileEdges(measures.height, measures.rows);
    return {xs[left], ys[top], xs[right + 1] - xs[left], ys[bottom + 1] - ys[top]};
}

TileGroup TilesIn(const PictureMeasures &measures, const PicturePlace &place)
{
    const std::vector<int> xs = decode::TileEdges(measures.width, measures.columns);
    const std::vector<int> ys = decode::TileEdges(measures.height, measures.rows);
    TileGroup tiles;
    for (std::size_t row = 0; row + 1 < ys.size(); ++row)
        for (std::size_t column = 0; column + 1 < xs.size(); ++column)
            if (xs[column + 1] > place.x && xs[column] < place.x + place.width &&
                ys[row + 1] > place.y && ys[row] < place.y + place.height)
                tiles.push_back(row * (xs.size() - 1) + column);
    return tiles;
}

PicturePlace WholeOf(const PictureMeasures &measures)
{
    return {0, 0, measures.width, measures.height};
}

ostrel::String PlaceText(const PicturePlace &place)
{
    return fmt::format("{}x{} pixels at {},{}", place.width, place.height, place.x, place.y);
}

} // namespace check
