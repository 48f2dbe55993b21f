#pragma once

#include <functional>
#include <string>
#include <vector>

#include "ostrel/Path.h"

namespace master
{

using ostrel::Path;
using ostrel::String;

/// One command to run.
struct Command
{
    int run = 0;                        ///< Names this run; never used twice.
    std::vector<std::string> arguments; ///< The program and its arguments; no shell sees them.
    Path folder;                        ///< Where it runs.
    Path log;                           ///< Takes what it prints; an older file is replaced.
};

/// Starts render commands and reports how each one ended.
///
/// LocalRunner starts child processes, FakeRunner (tests) keeps what it was asked and ends a
/// command when the test says so. Not thread-safe: call it, and expect its callback, on the
/// Master's loop thread; the callback never comes from within one of these calls.
class CommandRunner
{
public:
    /// `exitCode` is the command's own code, or -1 when it was ended by a signal.
    using Finished = std::function<void(int run, int exitCode)>;

    virtual ~CommandRunner() = default;

    /// Ends what commands of an earlier run of the Master left behind. Once, before the first
    /// start.
    virtual void EndLeftovers() = 0;

    /// How many more commands may be started now; 0 means wait for one to finish.
    virtual int FreeSlots() const = 0;

    /// Starts one command. The runner keeps `finished` and calls it exactly once.
    /// False, with the reason in `*error`, when the command could not be started.
    virtual bool Start(const Command &command, Finished finished, String *error) = 0;

    /// Ends a command and all that it started, gently at first. It still counts, and `finished` is
    /// still called, once it has gone. Nothing happens for a run that is not there.
    virtual void End(int run) = 0;
};

} // namespace master
