#pragma once

#include <fmt/printf.h>
#include <string_view>

#include "ostrel/Exception.h"

namespace ostrel
{

/// Printf-style text. Types are checked at run time; a pattern that does not fit its values throws
/// `Exception *` that names the pattern and the reason, and never reads what is not there.
///
/// The pattern is the program's own. One from outside goes through `analysis::FramePattern`.
template <typename... Values> String SFormat(std::string_view pattern, const Values &...values)
{
    try
    {
        return fmt::sprintf(pattern, values...);
    }
    catch (const fmt::format_error &error)
    {
        throw new Exception("cannot format \"" + std::string(pattern) + "\": " + error.what());
    }
}

} // namespace ostrel
