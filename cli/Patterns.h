#pragma once

#include <optional>
#include <span>

#include "cli/ExitStatus.h"
#include "ostrel/Path.h"

namespace cli
{

using ostrel::String;

/// What is made of a frame pattern that was given on the command line: frame marks ("####",
/// "@@@@", "$F4") are turned into the printf form, a path that does not begin with "/" but with a
/// shared prefix of the path map is translated to this machine's, and any other relative path is
/// made absolute under `folder`, whose percent signs are doubled. Nothing, with the reason in
/// `*reason`, for a pattern that cannot be formatted.
std::optional<String> ReadPattern(const String &text, const ostrel::Path &folder, String *reason);

/// The same under the current folder. Says on standard error what became of a pattern that is not
/// taken as it was given. Throws `Failure *` with the status
/// `refusal`.
String NeedPattern(const String &text, ExitStatus refusal = k_WrongUsage);

/// The value of "ImageFormat" for some patterns: joined by ";", with a backslash before each
/// character that means something there.
String JoinPatterns(std::span<const String> patterns);

} // namespace cli
