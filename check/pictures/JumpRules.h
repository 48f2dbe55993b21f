#pragma once

#include "check/pictures/PictureFinding.h"
#include "check/pictures/PictureSequence.h"

namespace check
{

/// Frames whose level or noise jumps as a whole, and comes back.
PictureFindings FindLevelJumps(const PictureSequence &pictures);
PictureFindings FindNoiseJumps(const PictureSequence &pictures);

/// Frames whose content jumps and comes back, as a whole or in one place.
PictureFindings FindContentJumps(const PictureSequence &pictures);

} // namespace check
