#pragma once

#include <atomic>
#include <chrono>

#include "ostrel/String.h"

namespace master
{

using ostrel::String;

/// Whether the Master does its work: its loop takes turns, and changes get to disk, with their
/// lines in the audit log. The loop notes it, any thread asks.
class Health
{
public:
    /// How long there may be no turn; a turn may be long, and there is one every two seconds at
    /// least.
    static constexpr std::chrono::seconds k_Patience{15};

    explicit Health(std::chrono::milliseconds patience = k_Patience);

    /// A turn has ended.
    void NoteTurn();
    /// What was changed last is on disk, or is not.
    void NoteChange(bool isOnDisk);
    /// Nothing is changed before the audit log has what was changed before.
    void NoteAudit(bool isWritten);
    /// The Master ends.
    void NoteEnd();

    std::chrono::nanoseconds SinceTurn() const;

    /// Why it does not; empty where it does.
    String Trouble() const;

private:
    using Ticks = std::chrono::steady_clock::rep;

    const std::chrono::nanoseconds m_patience;
    std::atomic<Ticks> m_lastTurn;
    std::atomic<bool> m_isOnDisk = true;
    std::atomic<bool> m_isAuditWritten = true;
    std::atomic<bool> m_isEnding = false;
};

} // namespace master
