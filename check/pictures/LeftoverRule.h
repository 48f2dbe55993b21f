#pragma once

#include "check/pictures/PictureFinding.h"
#include "check/pictures/PictureSequence.h"

namespace check
{

/// Blocks that have the very pixels of a frame some way back. What formats with loss make of them
/// is for `FindStaleBlocks`.
PictureFindings FindLeftovers(const PictureSequence &pictures);

} // namespace check
