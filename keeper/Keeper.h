#pragma once

#include <chrono>
#include <set>
#include <string>

#include "keeper/BoundedLog.h"
#include "keeper/Group.h"
#include "keeper/Outputs.h"
#include "keeper/Request.h"
#include "keeper/StartCommand.h"

namespace keeper
{

/// Runs one command and holds all that it starts: whatever detaches itself becomes a child of this
/// process again and is ended with the rest, when the command has ended, when the Master wants it
/// or is gone, and when a limit is exceeded. One for a process.
class Keeper
{
public:
    /// `master` is a socket to the Master, the caller's; see Protocol.h.
    Keeper(int master, const Request &request)
        : m_master(master), m_request(request), m_group(request.group)
    {
    }

    /// Does all of it, and reports.
    void Run();
    /// Tells the Master that nothing was started.
    void ReportNotStarted(const std::string &reason);

private:
    using Clock = std::chrono::steady_clock;

    bool Begin(std::string *reason);
    Place FindPlaces(std::string *reason);
    bool Start(Outputs &outputs, std::string *reason);
    void Hold();
    void WaitForNews();
    void ReadOrders();
    bool IsOver();
    void CollectChildren();
    void CopyOutput();
    void WatchLimits();
    std::string MemoryReason() const;
    void End(const std::string &why);
    void EndDescendants();
    int MillisecondsToNext() const;
    void Report(char what, const std::string &text);

    int m_master;
    int m_signals = -1;
    const Request m_request;
    const Group m_group;
    BoundedLog m_log;
    Command m_command;
    int m_status = 0;
    bool m_isMasterThere = true;
    bool m_isEnding = false;
    bool m_isEmpty = false; // All descendants are gone.
    std::string m_why;      // Of an end that was not the command's own.
    Clock::time_point m_began;
    Clock::time_point m_nextLook;
    Clock::time_point m_killAt;
    bool m_isLongEnd = false;
    std::set<pid_t> m_asked;
};

} // namespace keeper
