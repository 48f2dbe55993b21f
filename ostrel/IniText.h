#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "ostrel/String.h"

namespace ostrel
{

/// The rules of an ini file's text, as IniFile documents them.

/// A text that does not follow them.
struct IniError
{
    int line; ///< From 1.
    String reason;
};

/// A file's text without the mark that some editors set at its start.
std::string_view WithoutByteOrderMark(std::string_view text);

/// Checks every line of `text`; nothing when all are well.
std::optional<IniError> FindIniError(std::string_view text);

/// `text`, which has no error, with each comment that stands behind a section's bracket put on a
/// line of its own above it, where it can be kept.
std::string LiftSectionComments(std::string_view text);

/// A name that can stand between brackets, and one that can begin a line.
bool IsSectionName(std::string_view name);
bool IsKeyName(std::string_view name);

/// `value` as an ini file can hold it: one line, UTF-8.
String StorableValue(std::string_view value);

/// A storable value as it is written behind the "=", and back.
String QuoteValue(const String &value);
String UnquoteValue(std::string_view written);

/// `text` without the blanks and tabs at its ends.
std::string_view TrimBlanks(std::string_view text);

} // namespace ostrel
