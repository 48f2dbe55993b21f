#pragma once

#include "check/pictures/LoneGroups.h"
#include "check/pictures/PictureFinding.h"

namespace check
{

/// Frames that lack something in a place that stands out before and after: the ground behind it is
/// seen, and goes on to all sides. What comes before a ground does the opposite, so less has to
/// speak against something that moves than with a stray. `lone` has a reach of 0: a thing that
/// stands still is usual in its own tiles, whatever moves beside it.
PictureFindings FindGone(const PictureSequence &pictures, const LoneGroups &lone);

} // namespace check
