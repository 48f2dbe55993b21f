#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace web
{

/// A number and what there is so many of: "1 format", "2 formats".
inline std::string Counted(std::uint64_t count, std::string_view noun)
{
    return std::to_string(count) + ' ' + std::string(noun) + (count == 1 ? "" : "s");
}

} // namespace web
