#pragma once

#include "ostrel/Path.h"

namespace cli
{

using ostrel::String;

/// Where one of several pictures goes: the first to `file`, the second of "a.svg" to "a-2.svg".
ostrel::Path PictureFile(const std::string &file, std::size_t number);

/// Whether a name stands for standard output.
bool IsStandardOutput(const std::string &file);

/// Writes a picture: to standard output for "-", into a pipe or a device as it is, else a file
/// whole or not at all, in a folder that is there. True for a file, which is worth telling. Throws
/// `ostrel::Exception *` with the reason.
bool WritePicture(const ostrel::Path &file, const String &picture);

} // namespace cli
