#pragma once

#include <string_view>

#include "check/CheckTable.h"
#include "cli/Output.h"

namespace cli
{

using check::CheckState;
using check::CheckTable;
using ostrel::String;

/// What a colour says, as the terminal takes it; nothing for what is fine.
std::string_view ColourOf(CheckState state);

/// Whether a terminal is there for colours, and NO_COLOR does not forbid them.
bool WantsColours(std::FILE *stream);

/// What people read of a table before it is looked at: its pattern and range.
void WriteHeading(Output &out, const CheckTable &table, const String &range);

/// And after it was judged: the counts, and the bad frames of each kind, and those that could not
/// be looked at, as a range with the path of the first.
void WriteReport(Output &out, const CheckTable &table, bool hasColours);

/// "100 files: 98 ok, 2 missing".
String CountsLine(const CheckTable &table);

} // namespace cli
