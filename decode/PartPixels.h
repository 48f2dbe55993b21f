#pragma once

#include <OpenImageIO/imageio.h>
#include <functional>

#include "decode/PixelBlock.h"

namespace decode
{

/// Reads the pixels of a part with OpenImageIO, in the type that `spec` names, some rows at a time.
/// False where it cannot be read to its end; the image has the error then.
bool ReadFlatPart(OIIO::ImageInput &image, int part, const OIIO::ImageSpec &spec,
                  const TakePixels &take);

/// The same for a deep part: gives each sample, a number for each channel. After those of some
/// rows `takeFlat`, where it is no empty function, is given what is seen of them: floating point of
/// all channels, the samples of each pixel laid over each other.
bool ReadDeepPart(OIIO::ImageInput &image, int part, const OIIO::ImageSpec &spec,
                  const std::function<void(const float *)> &take, const TakePixels &takeFlat);

} // namespace decode
