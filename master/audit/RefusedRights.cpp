#include "master/audit/RefusedRights.h"

namespace master
{

bool RefusedRights::IsToWrite(const AuditEntry &entry, Clock::time_point now)
{
    if (entry.refused.empty())
        return true;
    const auto [user, isNew] = m_users.try_emplace(entry.user, Span{now, 0});
    return ++user->second.count <= k_LinesOfUser;
}

std::vector<AuditEntry> RefusedRights::TakeLeftOut(Clock::time_point now)
{
    std::vector<AuditEntry> entries;
    for (const auto &[user, span] : m_users)
    {
        if (now - span.begin < k_Span || span.count <= k_LinesOfUser)
            continue;
        AuditEntry entry;
        entry.user = user;
        entry.what = "left out";
        entry.refused = std::to_string(span.count - k_LinesOfUser) +
                        " more requests were refused for want of a right";
        entries.push_back(std::move(entry));
    }
    std::erase_if(m_users, [&](const auto &user) { return now - user.second.begin >= k_Span; });
    return entries;
}

} // namespace master
