#pragma once

#include "decode/DecodeRequest.h"
#include "decode/ImageReport.h"
#include "ostrel/Path.h"

namespace decode
{

/// Takes what the image libraries take once: threads and their memory, which grow with the cores of
/// the machine and not with the images. Before memory is limited; once, on the main thread.
void StartImageLibraries();

/// Reads an image file whole and tells what is in it: all parts of it (subimages), of each the full
/// resolution alone.
///
/// Formats are tried by the name first and by the content then. The libraries beneath may crash,
/// hang or take all memory on a damaged file, and print to standard error: this is for a process
/// that may be lost. Throws std::bad_alloc where memory is limited.
///
/// A file that cannot be opened, or that the disk does not give whole, has the report's `trouble`.
ImageReport DecodeImage(const ostrel::Path &path, ReportDepth depth = ReportDepth::Whole);

} // namespace decode
