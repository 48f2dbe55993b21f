#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ostrel/String.h"

namespace web
{

using ostrel::String;

/// What a request asks for: "/api/jobs/a%20b?format=1".
struct Target
{
    std::string path;                         ///< As it came: "/api/jobs/a%20b".
    std::vector<std::string> parts;           ///< Decoded, one at least: "api", "jobs", "a b".
    std::map<std::string, std::string> query; ///< Decoded.
};

/// Nothing, with a sentence why, for what is no path and query of UTF-8: a whole URL, a wrong
/// escape, a control character in the path, a zero byte in a value, a name that is there twice. In
/// the query "+" is a blank. Dots mean nothing.
std::optional<Target> ParseTarget(std::string_view text, String *reason);

/// Whether all of it is UTF-8 as it may be written: no surrogates, no longer form than needed.
bool IsUtf8(std::string_view text);

} // namespace web
