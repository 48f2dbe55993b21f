#pragma once

#include <functional>
#include <string>
#include <vector>

#include "corvan/RunLimits.h"
#include "keeper/PathRoots.h"
#include "ostrel/Path.h"
#include "ostrel/UID.h"

namespace master
{

using ostrel::Path;
using ostrel::String;
using ostrel::UID;

/// One command to run.
struct Command
{
    int run = 0;                        ///< Names this run; never used twice.
    std::vector<std::string> arguments; ///< The program and its arguments; no shell sees them.
    Path folder;                        ///< Where it runs.
    Path log;                           ///< Takes what it prints; an older file is replaced.
    std::vector<Path> outputs;          ///< Files that it is to write: else it has failed.
    std::vector<Path> places; ///< Other files that it may write. Folders of both are made.
    /// Paths that it reads and where they may lie, and the same for the two above, where none means
    /// anywhere. It is not started where one leads elsewhere.
    std::vector<keeper::RootedPath> rooted;
    std::vector<std::string> outputRoots;
    bool keepsOld = true; ///< What is in `outputs` already is not lost where it writes nothing.
    corvan::RunLimits limits;
    /// Names of the Master's environment that it gets, too; "OCIO*" for all that begin so.
    std::vector<String> passEnvironment;
};

/// How a run ended.
struct RunEnd
{
    bool isStarted = true; ///< False where the command could not be started.
    int exitCode = 0;      ///< Its own, or -1 when it was ended by a signal.
    /// Why it was not started, or why it failed where the exit code alone does not tell.
    String reason{};

    /// Not started since a path leads where it may not: trying again is of no use.
    bool leadsOut = false;

    bool IsSuccess() const
    {
        return isStarted && exitCode == 0 && reason.empty();
    }

    friend bool operator==(const RunEnd &, const RunEnd &) = default;
};

/// Who is told of the runs.
class RunListener
{
public:
    /// The command has been started. Not told of one that could not be.
    virtual void OnStarted(int run) = 0;
    /// The run is over; once for each.
    virtual void OnEnded(int run, const RunEnd &end) = 0;

protected:
    ~RunListener() = default;
};

/// Starts render commands and reports how each one ended.
///
/// LocalRunner starts child processes, FakeRunner (tests) keeps what it was asked and ends a
/// command when the test says so. Not thread-safe: call it, and expect the listener to be called,
/// on the Master's loop thread; it is never called from within one of these calls.
class CommandRunner
{
public:
    virtual ~CommandRunner() = default;

    /// Sees that nothing runs any more that an earlier run of this Master has started, and then
    /// calls `isAlone`. Nothing is started before: there are no free slots. Once.
    virtual void Begin(const UID &master, std::function<void()> isAlone) = 0;

    /// How many more commands may be started now; 0 means wait for one to finish.
    virtual int FreeSlots() const = 0;

    /// Starts one command. The listener lives as long as there are runs that it is to hear of.
    /// False, with the reason in `*error`, where it is clear at once that it cannot be started; the
    /// listener is told nothing then.
    virtual bool Start(const Command &command, RunListener &listener, String *error) = 0;

    /// Ends a command and all that it started, gently at first. It still counts, and its end is
    /// still told, once it has gone. Nothing happens for a run that is not there.
    virtual void End(int run) = 0;
};

} // namespace master
