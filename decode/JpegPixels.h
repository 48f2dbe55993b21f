#pragma once

#include <OpenImageIO/imageio.h>
#include <optional>

#include "decode/PixelBlock.h"
#include "ostrel/Path.h"

namespace decode
{

/// Reads a JPEG whole, once, both for its pixels and for what the library says of its packed data.
///
/// Gives why it is damaged: its data do not end where the picture does, or hold codes that there
/// are not. The library guesses then, and goes on, and a reader above it says nothing. Empty for a
/// sound file. Nothing at all, and no pixels, where `spec`, the picture as OpenImageIO tells it,
/// has other channels than the file's own (those of four inks): OpenImageIO reads them.
std::optional<ostrel::String> ReadJpeg(const ostrel::Path &path, const OIIO::ImageSpec &spec,
                                       const TakePixels &take);

/// The same for a file whose pixels are read elsewhere: why it is damaged, if it is.
ostrel::String FindCorruptData(const ostrel::Path &path);

} // namespace decode
