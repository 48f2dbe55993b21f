#pragma once

#include <functional>
#include <string>
#include <vector>

#include "decode/Picture.h"

namespace decode
{

/// The picture whose bytes `make` gives, or why it gives none: a std::runtime_error that it throws
/// is the picture's reason, or its trouble where the disk does not give one of `files`. An empty
/// path is no file. Images are read with the calling thread alone from now on. Throws what else
/// `make` throws.
Picture TryPicture(const std::vector<Path> &files, const std::function<std::string()> &make);

} // namespace decode
