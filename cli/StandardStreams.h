#pragma once

#include "ostrel/String.h"

namespace cli
{

using ostrel::String;

/// Puts something that takes and gives nothing where standard input, output or error is closed:
/// the next file or connection that is opened would become it. Once, before anything is opened.
void OccupyStandardStreams();

/// Gives all that was printed to standard output to the system. The reason where it does not take
/// it, with a text that names the output; empty when it did. Whoever has closed the other end of a
/// pipe ends the program, as ever.
String FlushOutput();

/// Prints to standard output, and flushes it, what must not be lost: a pipe that is closed is a
/// reason like any other here.
String PrintWhatMatters(const String &text);

} // namespace cli
