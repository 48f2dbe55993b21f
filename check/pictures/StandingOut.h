#pragma once

#include "check/pictures/TileArea.h"
#include "check/pictures/TileLooks.h"

namespace check
{

/// How much some tiles of a frame stand out from those around them, as a share of how much they do
/// in the frames before and after, in light, detail and brightest pixel: less than 1 where a thing
/// is gone and the ground behind it goes on to all sides, more where something came before it, and
/// 1 where nothing stands out in either. The frame has both neighbours.
float StandingOut(const PictureSequence &pictures, const TileLooks &looks, std::size_t frame,
                  const TileGroup &tiles);

} // namespace check
