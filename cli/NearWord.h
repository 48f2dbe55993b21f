#pragma once

#include <span>
#include <string>

namespace cli
{

/// The one of some words that a mistyped one was probably meant to be: at most a third of its
/// letters are wrong, missing, added or two of them swapped; or it is the beginning of that one
/// alone. Case does not count. Empty where none is near.
std::string NearWord(const std::string &typed, std::span<const std::string> words);

} // namespace cli
