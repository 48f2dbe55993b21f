#include "master/door/WrongTokens.h"

#include <algorithm>

namespace master
{

WrongTokens::Cost WrongTokens::Note(const String &peerKey, Clock::time_point now)
{
    if (m_peers.size() >= k_MostPeers)
        ForgetOld(now);
    Record &record = m_peers[peerKey];
    if (now - record.last > k_ForgottenAfter)
        record.count = 0;
    record.last = now;
    constexpr unsigned k_most_doublings = 8;
    const auto pause =
        std::min(k_LongestPause, k_FirstPause * (1 << std::min(record.count, k_most_doublings)));
    ++record.count;
    record.told.erase(record.told.begin(), record.told.upper_bound(now));
    if (record.told.size() >= k_MostTold)
        return {pause, false};
    record.told.insert(now + pause);
    return {pause, true};
}

// Whoever has addresses without number gets new pauses, and not the Master's memory.
void WrongTokens::ForgetOld(Clock::time_point now)
{
    std::erase_if(m_peers,
                  [&](const auto &peer) { return now - peer.second.last > k_ForgottenAfter; });
    if (m_peers.size() >= k_MostPeers)
        m_peers.clear();
}

} // namespace master
