#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

namespace cli
{

/// The whole of a text as a number: decimal, with a sign or not, nothing before or after it.
std::optional<long long> ReadWhole(const std::string &text);
/// The same with a fraction and an exponent; only finite numbers.
std::optional<double> ReadNumber(const std::string &text);

/// Checks of options' values, for CLI11, which takes more than a user would call a number ("0x1F",
/// "nan"). Both ends are allowed.
CLI::Validator WholeBetween(long long least, long long most);
CLI::Validator NumberBetween(double least, double most);
CLI::Validator NumberAbove(double bound);

} // namespace cli
