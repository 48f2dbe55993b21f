#pragma once

#include "ostrel/CommandLine.h"

namespace master
{

/// `corvan-master token add USER ROLE`, `token list`, `token remove ID`: changes or shows the
/// tokens of a data folder. Whether a Master runs on it does not matter; one that does looks at
/// them each second and before each request. Prints to standard output; a new token is shown once
/// and kept nowhere. Throws `UsageException *` for what it does not understand and
/// `ostrel::Exception *` where the tokens cannot be read or written.
void RunTokenCommand(const ostrel::CommandLine &commandLine);

} // namespace master
