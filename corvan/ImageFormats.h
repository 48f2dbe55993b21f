#pragma once

#include <vector>

#include "ostrel/Path.h"

namespace corvan
{

using ostrel::Path;
using ostrel::String;

// The value of a job's image-format parameter: patterns with ";" between them, perhaps in double
// quotes, where a backslash takes the next character as it is. A job holds it in the farm's
// notation; programs show and use it in that of their machine.

/// The patterns in a value, in its order and in this machine's notation. None for an empty value.
/// What comes back may be no pattern at all.
std::vector<Path> ListFormats(const String &formats);

/// A value whose patterns are in this machine's notation, in the farm's: the beginning of each is
/// mapped back. All else stays as it is, quotes and backslashes too.
String ShareFormats(const String &formats);

/// A parameter's value as it goes out: an image format is shared, others are what they are.
String SharedValue(const String &parameter, const String &value);

} // namespace corvan
