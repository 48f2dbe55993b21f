#pragma once

#include <string>
#include <vector>

#include "cli/Failure.h"

namespace CLI
{
class App;
}

namespace cli
{

/// The whole of `corvan`: reads the arguments (without the program's name), does what the verb
/// says, prints, and gives the exit status. Writes what failed to standard error. Throws nothing.
ExitStatus RunCorvan(std::vector<std::string> arguments);

/// Joins each long option of the program or its verbs that takes a value with one that begins like
/// a negative number, which would be taken for an option: "--range", "-5-3" becomes "--range=-5-3".
/// Nothing after "--" is changed.
std::vector<std::string> JoinNegativeValues(const CLI::App &app,
                                            const std::vector<std::string> &arguments);

} // namespace cli
