#pragma once

#include "check/pictures/LoneGroups.h"
#include "check/pictures/PictureFinding.h"

namespace check
{

/// Frames that alone show something in a place, or lack it, and nothing that moves explains it.
PictureFindings FindStrays(const PictureSequence &pictures, const LoneGroups &lone);

} // namespace check
