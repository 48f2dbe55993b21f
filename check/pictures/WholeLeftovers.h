#pragma once

#include "check/pictures/Leftovers.h"

namespace check
{

/// Of each frame the rectangle of which every tile has the pixels of an older frame, and hardly any
/// tile elsewhere that moves, that says most. Each by itself may have them by chance, as the ground
/// between drops of rain; all together have not.
std::vector<Leftover> FindWholeLeftovers(const PictureSequence &pictures, const SamePixels &pixels);

} // namespace check
