#include "cli/NumberTexts.h"

#include <charconv>
#include <cmath>
#include <fmt/format.h>
#include <limits>

#include "corvan/Utf8.h"

namespace cli
{

namespace
{

template <typename Number> std::optional<Number> Read(const std::string &text)
{
    const char *const end = text.data() + text.size();
    const char *start = text.data();
    if (text.size() > 1 && text[0] == '+' && text[1] != '-')
        ++start;
    Number number = 0;
    const auto result = std::from_chars(start, end, number);
    if (result.ec != std::errc() || result.ptr != end)
        return std::nullopt;
    return number;
}

template <typename Fits> CLI::Validator Needs(std::string wanted, Fits fits)
{
    const auto check = [wanted, fits](const std::string &text)
    { return fits(text) ? std::string() : "'" + corvan::Excerpt(text) + "' is not " + wanted; };
    return CLI::Validator(check, "");
}

} // namespace

std::optional<long long> ReadWhole(const std::string &text)
{
    return Read<long long>(text);
}

std::optional<double> ReadNumber(const std::string &text)
{
    const std::optional<double> number = Read<double>(text);
    return number && std::isfinite(*number) ? number : std::nullopt;
}

CLI::Validator WholeBetween(long long least, long long most)
{
    return Needs(fmt::format("a whole number from {} to {}", least, most),
                 [=](const std::string &text)
                 {
                     const auto number = ReadWhole(text);
                     return number && *number >= least && *number <= most;
                 });
}

CLI::Validator NumberBetween(double least, double most)
{
    const bool isOpen = most >= double(std::numeric_limits<float>::max());
    const std::string end = isOpen ? "up" : fmt::format("to {}", most);
    return Needs(fmt::format("a number from {} {}", least, end),
                 [=](const std::string &text)
                 {
                     const auto number = ReadNumber(text);
                     return number && *number >= least && *number <= most;
                 });
}

CLI::Validator NumberAbove(double bound)
{
    return Needs(fmt::format("a number above {}", bound),
                 [=](const std::string &text)
                 {
                     const auto number = ReadNumber(text);
                     return number && *number > bound;
                 });
}

} // namespace cli
