#pragma once

#include "check/pictures/TileArea.h"
#include "check/pictures/TileLooks.h"

namespace check
{

/// How unlike both neighbours a tile of a frame is, less how unlike each other they are, in stops;
/// 0 where it is no more than that. The frame has both neighbours.
float AloneBy(const TileLooks &looks, std::size_t frame, std::size_t tile);

/// How much of what these tiles alone have in this frame is found again somewhere near in the frame
/// before, where the one after does not have it, or the other way round: about 1 for something that
/// goes through the picture, little for what is there, or is missing, in one frame only. The frame
/// has both neighbours.
float PassingShare(const PictureSequence &pictures, const TileLooks &looks, std::size_t frame,
                   const TileGroup &tiles);

} // namespace check
