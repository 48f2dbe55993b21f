#pragma once

#include "ostrel/Path.h"

namespace decode
{

using ostrel::Path;
using ostrel::String;

/// Why a file cannot be whole, told from its own structure: a PNG without its last chunk, a JPEG
/// without its end marker, a DPX shorter than the picture its header describes. These are the
/// formats whose library fills in what is missing, or does not look for the end. Empty for a file
/// that may be whole, and for every other format.
String FindMissingEnd(const Path &path, const String &format);

} // namespace decode
