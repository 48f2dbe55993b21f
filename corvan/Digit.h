#pragma once

namespace corvan
{

/// Whether a character is one of "0123456789", in every locale.
constexpr bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

} // namespace corvan
