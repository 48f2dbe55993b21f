#pragma once

#include "check/pictures/PictureFinding.h"
#include "check/pictures/PictureSequence.h"

namespace check
{

/// Frames with the very pixels of the one before, where the frames around move: a run of two
/// exactly, and hardly another near. Which of the two is the copy nobody can tell; the second is
/// named.
PictureFindings FindDuplicates(const PictureSequence &pictures);

} // namespace check
