#pragma once

#include "ostrel/Path.h"

namespace decode
{

/// Why a TIFF that could be read is damaged all the same: one of its blocks that are packed with
/// "deflate" does not fit its checksum, which the libraries stop short of. Empty for a sound file,
/// for files with none of these blocks, and for what is no TIFF.
ostrel::String FindBadChecksum(const ostrel::Path &path);

} // namespace decode
