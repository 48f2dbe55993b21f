#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <vector>

#include "master/audit/AuditEntry.h"

namespace master
{

/// Keeps who asks again and again for what he may not from filling the audit log until what matters
/// is rotated away. Not thread-safe.
class RefusedRights
{
public:
    using Clock = std::chrono::steady_clock;

    static constexpr std::size_t k_LinesOfUser = 60; ///< In each of these:
    static constexpr std::chrono::minutes k_Span{1};

    /// True for an entry that is to be written: one that was accepted, or one of the first that
    /// were refused to its user.
    bool IsToWrite(const AuditEntry &entry, Clock::time_point now);

    /// Entries that say how many were left out, of the spans that are over.
    std::vector<AuditEntry> TakeLeftOut(Clock::time_point now);

private:
    struct Span
    {
        Clock::time_point begin;
        std::size_t count = 0;
    };

    std::map<String, Span> m_users;
};

} // namespace master
