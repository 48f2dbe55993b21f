#pragma once

#include "decode/Picture.h"

namespace decode
{

/// Makes a small picture of an image file: the mean of each area in linear light, the exposure, and
/// the curve of sRGB. A pixel whose area holds a value that is no finite number is magenta,
/// whatever the exposure: a mean would hide it, or take all around it along. It is turned, and its
/// pixels are as wide, as the file says.
///
/// The libraries beneath may crash, hang or take all memory on a damaged file: as with
/// `DecodeImage`, this is for a process that may be lost. Throws std::bad_alloc where memory is
/// limited. A file that the disk does not give has the picture's `trouble`.
Picture MakePicture(const Path &path, const PictureWish &wish);

} // namespace decode
