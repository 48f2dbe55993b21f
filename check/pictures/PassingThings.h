#pragma once

#include "check/pictures/TileArea.h"
#include "check/pictures/TileLooks.h"

namespace check
{

/// How unlike both neighbours a tile of a frame is, less how unlike each other they are, in stops;
/// 0 where it is no more than that. The frame has both neighbours.
float AloneBy(const TileLooks &looks, std::size_t frame, std::size_t tile);

/// What some tiles have in this frame that the frames beside do not have there, all of them
/// together. The frame has both neighbours.
TileLook OddityOf(const TileLooks &looks, std::size_t frame, const TileGroup &tiles);

/// What of that is found again somewhere near in the frame before, where the one after does not
/// have it, or the other way round. Both are about 1 for something that goes through the picture,
/// and little for what is there, or is missing, in one frame only.
struct FoundAgain
{
    /// The most that is found in one place. What changes there by far more than the tiles have is
    /// more than 1, so among much that moves it is large by chance.
    float share = 0;
    /// The most alike that a place is, as `LikenessOf` of all tiles without its sign: what changes
    /// by far more is as alike.
    float likeness = 0;
};

/// The frame has both neighbours.
FoundAgain FindAgain(const PictureSequence &pictures, const TileLooks &looks, std::size_t frame,
                     const TileGroup &tiles);

} // namespace check
