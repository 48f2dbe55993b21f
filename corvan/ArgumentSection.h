#pragma once

#include <initializer_list>
#include <vector>

#include "ostrel/IniFile.h"

namespace corvan
{

using ostrel::IniFile;
using ostrel::String;

/// The number of "12"; 0 for other text.
unsigned ParseArgumentNumber(const String &text);

/// The arguments of a command, each behind a number, in the order of their numbers. Keys in
/// `others` are passed over.
///
/// Throws `ostrel::Exception *` that names the section, for a key that is no number, a number that
/// is there twice, a brace that is not closed, and a section without arguments.
std::vector<String> ReadArgumentSection(const IniFile &file, const String &section,
                                        std::initializer_list<const char *> others);

} // namespace corvan
