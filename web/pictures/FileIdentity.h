#pragma once

#include <string>

#include "ostrel/Path.h"

namespace web
{

using ostrel::Path;
using ostrel::String;

/// What tells a file from what stood there before: its size and date.
struct FileIdentity
{
    std::string text; ///< Empty where there is a trouble.
    String trouble;   ///< Why there is nothing to look at: no file, or one that is none to read.
};

/// Asks the file system, which may take its time. Any thread.
FileIdentity IdentityOf(const Path &path);

} // namespace web
