#pragma once

#include "decode/ImageReport.h"
#include "ostrel/Path.h"

namespace decode
{

/// Reads an image file whole and tells what is in it: all parts of it (subimages), of each the full
/// resolution alone.
///
/// Formats are tried by the name first and by the content then. The libraries beneath may crash,
/// hang or take all memory on a damaged file, and print to standard error: this is for a process
/// that may be lost. Throws std::bad_alloc where memory is limited.
ImageReport DecodeImage(const ostrel::Path &path);

} // namespace decode
