#pragma once

#include <vector>

#include "ostrel/Path.h"

namespace analysis
{

/// The patterns in the value of a job's image-format parameter, in its order and in this machine's
/// notation. They stand between ";", perhaps in double quotes, and a backslash takes the next
/// character as it is. None for an empty value. What comes back may be no pattern at all.
std::vector<ostrel::Path> ListFormats(const ostrel::String &formats);

} // namespace analysis
