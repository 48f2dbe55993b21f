#pragma once

#include <string>
#include <vector>

#include "ostrel/String.h"

namespace CLI
{
class App;
class ParseError;
} // namespace CLI

namespace cli
{

using ostrel::String;

/// Why some arguments make no sense, in this program's words: names what was typed, and what was
/// probably meant. `error` is what the parser of `app` made of them.
String UsageText(const CLI::App &app, const CLI::ParseError &error,
                 const std::vector<std::string> &arguments);

} // namespace cli
