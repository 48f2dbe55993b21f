#pragma once

#include "check/pictures/PictureFinding.h"
#include "check/pictures/PictureSequence.h"

namespace check
{

/// Frames that are nearly all black, where those around are not on their way there.
PictureFindings FindBlackFrames(const PictureSequence &pictures);

/// Frames of which tiles became black that are not so before and after.
PictureFindings FindVoids(const PictureSequence &pictures);

} // namespace check
