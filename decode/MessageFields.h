#pragma once

#include <charconv>
#include <string>
#include <string_view>
#include <vector>

namespace decode
{

/// A message between a program and its decoder is fields of text with a zero byte between two.
std::vector<std::string_view> SplitFields(std::string_view message);
std::string JoinFields(const std::vector<std::string_view> &fields);

/// Reads a number that is all of the text; false where it is none, or does not fit.
template <typename Number> bool TakeNumber(std::string_view text, Number &value)
{
    const char *end = text.data() + text.size();
    const auto [read, error] = std::from_chars(text.data(), end, value);
    return error == std::errc() && read == end;
}

} // namespace decode
