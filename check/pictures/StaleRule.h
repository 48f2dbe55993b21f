#pragma once

#include "check/pictures/PictureFinding.h"
#include "check/pictures/PictureSequence.h"

namespace check
{

/// Frames with a block that is of a frame some way back: tiles side by side that are unlike the
/// frames before and after and like that one, where the shot does not go round or swing.
PictureFindings FindStaleBlocks(const PictureSequence &pictures);

} // namespace check
