#pragma once

#include "check/pictures/Leftovers.h"

namespace check
{

/// Of each frame the rectangle with the most tiles that have the pixels of an older frame, though
/// what moves does not come round there, and they are not seen at other times.
std::vector<Leftover> FindLoneLeftovers(const PictureSequence &pictures, const SamePixels &pixels);

} // namespace check
