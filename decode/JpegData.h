#pragma once

#include "ostrel/Path.h"

namespace decode
{

/// Why a JPEG that could be read is damaged all the same: its packed data do not end where the
/// picture does, or hold codes that there are not. The library guesses then, and goes on. Empty
/// when it has nothing to say.
ostrel::String FindCorruptData(const ostrel::Path &path);

} // namespace decode
