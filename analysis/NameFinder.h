#pragma once

#include <functional>
#include <memory>
#include <string>

#include "analysis/FileCheck.h"

namespace analysis
{

/// The files of one folder, by name. One thread.
class NameFinder
{
public:
    virtual ~NameFinder() = default;

    /// Looks at one file. 0, or the system's error number when it could not be told whether there
    /// is such a file; a file that is not there is no error.
    virtual int Look(const std::string &name, FileLook &look) = 0;
};

/// Makes one for a thread of its own: an open folder that several threads share slows them down.
using MakeNameFinder = std::function<std::unique_ptr<NameFinder>()>;

} // namespace analysis
