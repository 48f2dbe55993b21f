#pragma once

#include <string>
#include <vector>

namespace bench
{

/// What a command took from its start to its end.
struct ChildRun
{
    double ms = 0;
    double firstLineMs = 0; ///< Until it had printed a line.
    double processorMs = 0; ///< Of all its threads.
    long peakMegabytes = 0; ///< Resident.
    int status = 0;         ///< Its exit status; -1 where a signal ended it.
};

/// Runs a command, as a list of arguments, to its end. What it prints is read and thrown away.
/// `preload` is a library that goes before its own; empty for none.
ChildRun RunChild(const std::vector<std::string> &command, const std::string &preload = {});

} // namespace bench
