#pragma once

#include <string_view>

#include "ostrel/Path.h"

namespace decode
{

using ostrel::Path;
using ostrel::String;

/// The format that files of this extension have, as the library names it ("exr": "openexr"); empty
/// where the library reads no such files. Upper case is as good.
String FormatByName(const Path &path);

/// The format whose mark the beginning of a file bears; empty when it bears none that is known.
/// `head` is its first 16 bytes or more, or all of a shorter file.
String FormatByContent(std::string_view head);

} // namespace decode
