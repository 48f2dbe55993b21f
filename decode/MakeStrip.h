#pragma once

#include "decode/Picture.h"
#include "decode/StripWish.h"

namespace decode
{

/// Shows a place of an image file between the same place of the one before and of the one after,
/// side by side, with a thin frame around it unless it is the whole image. All three are turned as
/// the image's file says; a pixel of the image is a block of them where the place is small, and
/// they stand for areas, by the wish's cells, where it is large. They are as bright as
/// `MakePicture` would have them; where nearly all that is shown is dark, all three are raised by
/// the same number of stops, 6 at most.
///
/// A neighbour that there is none of, that cannot be read there, or that has another size or is
/// turned otherwise is an even grey. Otherwise as `MakePicture`.
Picture MakeStrip(const Path &path, const StripWish &wish);

} // namespace decode
