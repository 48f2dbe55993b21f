#pragma once

#include "corvan/CorvanApp.h"
#include "master/program/MasterOptions.h"

namespace master
{

/// The program corvan-master: options in, a Master running, an exit status out.
class MasterApp : public corvan::CorvanApp
{
public:
    MasterApp();

    /// Runs until a signal, or idleness, ends it. Prints
    /// "corvan-master: listening on ADDRESS, data in DIR" once it listens. False, with the reason
    /// logged, for a log that cannot be. Throws `UsageException *` for other options that cannot
    /// be, and `ostrel::Exception *` where data folder or address cannot be had.
    bool Run(const CommandLine &commandLine);
};

} // namespace master
