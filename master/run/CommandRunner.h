#pragma once

#include <chrono>
#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <utility>
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

/// Where a run stands among those that are handed over together.
struct BatchPlace
{
    UID batch;
    unsigned element = 0;
    unsigned offset = 0; ///< Of the elements: element 3 of offset 1000 is packet 1003.

    friend bool operator==(const BatchPlace &, const BatchPlace &) = default;
};

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

    // For a runner with batches.
    UID job;
    std::optional<BatchPlace> batch;
    int priority = 50;                             ///< 0 to 100, higher goes first.
    std::vector<std::pair<String, String>> wishes; ///< `corvan::QueueWishesOf` the job.
};

/// Where a run is, for people.
struct RunPlace
{
    String node;            ///< The machine; empty while there is none yet.
    String number;          ///< What it is called there: "1234_5".
    String state;           ///< In the words of whoever runs it: "PENDING (Priority)".
    bool isStarted = false; ///< False while it only waits there.
    /// Since when it runs, where whoever runs it tells.
    std::optional<std::chrono::steady_clock::time_point> since{};
    String stuck{}; ///< Why it is taken to be stuck; empty where it is not.

    friend bool operator==(const RunPlace &, const RunPlace &) = default;
};

/// A run that an earlier Master has handed over.
struct EarlierRun
{
    int run = 0; ///< As this Master calls it.
    UID job;
    BatchPlace place;
    bool isHeld = false; ///< The job is paused.
    int priority = 50;
    /// A file that it is to write; empty where it writes none, or nobody has to look for it.
    Path output;
};

/// How a run ended.
struct RunEnd
{
    bool isStarted = true; ///< False where the command could not be started.
    int exitCode = 0;      ///< Its own, or -1 when it was ended by a signal.
    /// Why it was not started, or why it failed where the exit code alone does not tell.
    String reason{};

    /// Not started since a path leads where it may not, or done where nobody sees it: trying again
    /// is of no use.
    bool leadsOut = false;

    /// Taken away before it ended, which is nobody's fault: its machine failed, or it is to begin
    /// anew. With a reason it is not begun again at once.
    bool isLost = false;
    bool machineFailed = false; ///< Of what is lost: its machine went down under it.

    RunPlace place{}; ///< Where it was, as far as that is known.

    /// How long the command ran, where whoever ran it tells.
    std::optional<std::chrono::milliseconds> took{};

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
    /// The runs of a job that were handed over wait there. `why` tells what keeps them from being
    /// begun; empty where they wait for their turn.
    virtual void OnQueued(const UID & /*job*/, const String & /*why*/) {}

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

    // A runner with batches hands commands over to somebody else, many at a time, who has them
    // begun when it is their turn. They outlive the Master, who adopts them when it starts again.

    /// The elements of a batch are below it; 0 for a runner without batches.
    virtual unsigned BatchSize() const
    {
        return 0;
    }
    /// How many more of a job it takes now, beside `FreeSlots`: whoever has them begun may take
    /// fewer of one job than of others.
    virtual int RoomFor(const UID & /*job*/) const
    {
        return std::numeric_limits<int>::max();
    }
    /// A run that was handed over by an earlier Master: its end is told, too. Before `Begin`.
    virtual void Adopt(const EarlierRun &, RunListener &) {}
    /// The end of the run is on disk: what tells of it may go.
    virtual void Recorded(int) {}
    /// The run is to end unless it has begun.
    virtual void Withdraw(int) {}
    /// The runs of a job that wait are not to begin, or may; and how urgent they are.
    virtual void SetJob(const UID &, bool, int) {}
    /// What is to become of a machine: nothing more is begun there, or it is used again. `done` is
    /// told why not, in the words of whoever decides; empty where it is so. Later, on the loop.
    /// False where the machines are not the runner's to set.
    using NodeSet = std::function<void(const String &words)>;
    virtual bool SetNode(const String & /*node*/, bool /*drains*/, const String & /*reason*/,
                         NodeSet /*done*/)
    {
        return false;
    }
    /// Tells later, on the loop, what state the machines are in, by their names; nothing where
    /// nobody knows. False where there is nothing to know.
    using NodeStates = std::function<void(const std::map<String, String> &states)>;
    virtual bool AskNodes(NodeStates /*done*/)
    {
        return false;
    }
    /// Nothing for a run that is not there, and where there is nothing to tell.
    virtual std::optional<RunPlace> PlaceOf(int) const
    {
        return std::nullopt;
    }
};

} // namespace master
