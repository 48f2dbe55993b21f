#pragma once

#include <optional>

#include "ostrel/Time.h"

namespace cli
{

using ostrel::String;
using ostrel::Time;

/// Reads "2026-11-20T14:03:09Z". Nothing for other text.
std::optional<Time> ReadUtc(const String &text);

/// A moment in the machine's zone: "14:03" where it is of this day, else "2026-11-20 14:03".
String MomentText(const Time &moment);

/// How far a moment is from now: "2 days 3 h", "1 h 20 min", "5 min", "less than a minute". The
/// last, too, for one that is over.
String SpanText(const Time &moment, const Time &now);

} // namespace cli
