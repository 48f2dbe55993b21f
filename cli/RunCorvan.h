#pragma once

#include <string>
#include <vector>

#include "cli/Failure.h"

namespace cli
{

/// The whole of `corvan`: reads the arguments (without the program's name), does what the verb
/// says, prints, and gives the exit status. Writes what failed to standard error. Throws nothing.
ExitStatus RunCorvan(std::vector<std::string> arguments);

/// Joins "--range", or another option that takes numbers, with a value that begins like a negative
/// number and would be taken for an option: "--range", "-5-3" becomes "--range=-5-3". Nothing after
/// "--" is changed.
std::vector<std::string> JoinNegativeValues(const std::vector<std::string> &arguments);

} // namespace cli
