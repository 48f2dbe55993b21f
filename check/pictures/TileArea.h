#pragma once

#include <span>
#include <vector>

#include "check/PicturePlace.h"
#include "decode/PictureMeasures.h"
#include "ostrel/String.h"

namespace check
{

/// Tiles that touch each other with a side, as indices.
using TileGroup = std::vector<std::size_t>;

/// All groups of the tiles that are marked.
std::vector<TileGroup> FindGroups(const std::vector<bool> &isMarked, int columns);
/// The group that a tile is in; empty where it is not marked.
TileGroup GroupAround(const std::vector<bool> &isMarked, int columns, std::size_t tile);

/// The share of the rectangle around it that a group fills, more than 0.
float FillOf(const TileGroup &group, int columns);

/// How many tiles lie between the rectangles around two groups, the longer way of both: 0 where
/// they touch or overlap. Neither is empty.
int GapBetween(const TileGroup &one, const TileGroup &other, int columns);

/// The rectangle around tiles of a picture.
PicturePlace PlaceOf(const decode::PictureMeasures &measures, std::span<const std::size_t> tiles);
/// The tiles that lie in a place, all or in part.
TileGroup TilesIn(const decode::PictureMeasures &measures, const PicturePlace &place);
/// All of it.
PicturePlace WholeOf(const decode::PictureMeasures &measures);
/// "99x40 pixels at 31,50".
ostrel::String PlaceText(const PicturePlace &place);

} // namespace check
