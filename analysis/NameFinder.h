#pragma once

#include <string>

#include "analysis/FileCheck.h"

namespace analysis
{

/// The files of one folder, by name. Any thread, several at once.
class NameFinder
{
public:
    virtual ~NameFinder() = default;

    /// Looks at one file. 0, or the system's error number when it could not be told whether there
    /// is such a file; a file that is not there is no error.
    virtual int Look(const std::string &name, FileLook &look) const = 0;
};

} // namespace analysis
