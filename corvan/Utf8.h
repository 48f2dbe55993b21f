#pragma once

#include <string_view>

#include "ostrel/String.h"

namespace corvan
{

using ostrel::String;

bool IsUtf8(std::string_view text);

/// The text with every byte that is no UTF-8 replaced by U+FFFD: names of files may hold any
/// bytes, messages may not.
String MakeUtf8(std::string_view text);

/// True for a byte below 32 or DEL.
bool HasControlCharacters(std::string_view text);

/// The text cut to 80 bytes, for a reason or a log line that quotes what came from outside.
String Excerpt(std::string_view text);

} // namespace corvan
