#pragma once

#include "check/pictures/PictureFinding.h"
#include "check/pictures/PictureSequence.h"

namespace check
{

/// Frames whose level or noise jumps as a whole, and comes back.
PictureFindings FindLevelJumps(const PictureSequence &pictures);
PictureFindings FindNoiseJumps(const PictureSequence &pictures);

/// Frames that show another picture than those before and after.
PictureFindings FindOtherPictures(const PictureSequence &pictures);

/// Frames whose content jumps in one place, and comes back.
PictureFindings FindContentJumps(const PictureSequence &pictures);

} // namespace check
