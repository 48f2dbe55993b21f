#pragma once

#include <cstdio>
#include <string_view>

#include "ostrel/String.h"

namespace cli
{

using ostrel::String;

/// A text from outside (a path, a name, a reason that quotes them) as it goes to a terminal: what a
/// terminal would act on or cannot show, control characters and bytes that are no UTF-8, stands
/// there as "\x1b". Line ends and tabs stay with `Lines::Many` alone.
enum class Lines
{
    One,
    Many,
};
String ShownText(std::string_view text, Lines lines = Lines::One);

/// The same where the stream is a terminal; the text as it is for a program, a file or a pipe.
String ShownOn(std::FILE *stream, std::string_view text, Lines lines = Lines::One);

} // namespace cli
