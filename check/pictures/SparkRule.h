#pragma once

#include "check/pictures/PictureFinding.h"
#include "check/pictures/PictureSequence.h"

namespace check
{

/// Frames with single bright pixels that those before and after do not have, in far greater number
/// than usual.
PictureFindings FindSparks(const PictureSequence &pictures);

} // namespace check
