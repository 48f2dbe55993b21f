#pragma once

#include "check/pictures/PictureFinding.h"
#include "check/pictures/PictureSequence.h"
#include "check/pictures/TileArea.h"

namespace check
{

/// Frames that are nearly all black, where those around are not on their way there.
PictureFindings FindBlackFrames(const PictureSequence &pictures);

/// Frames of which tiles became black that are not so before and after.
PictureFindings FindVoids(const PictureSequence &pictures);

/// Whether what became black of tiles and those beside them is a rectangle to the pixel. Hardly
/// anything that moves is. The frame is known, and one beside it.
bool IsBlackRectangle(const PictureSequence &pictures, std::size_t frame, const TileGroup &tiles);

} // namespace check
