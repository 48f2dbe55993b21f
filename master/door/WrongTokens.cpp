#include "master/door/WrongTokens.h"

#include <algorithm>

namespace master
{

bool WrongTokens::IsBarred(const String &peerKey, Clock::time_point now) const
{
    const auto found = m_peers.find(peerKey);
    if (found == m_peers.end())
        return false;
    const auto isInPause = [&](const auto &token) { return token.second > now; };
    return std::size_t(std::ranges::count_if(found->second.tokens, isInPause)) >= k_MostTokens;
}

std::chrono::milliseconds WrongTokens::Note(const String &peerKey, const String &token,
                                            Clock::time_point now)
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
    std::erase_if(record.tokens, [&](const auto &each) { return each.second <= now; });
    record.tokens[token] = now + pause;
    record.waiting.erase(record.waiting.begin(), record.waiting.upper_bound(now));
    if (record.waiting.size() >= k_MostWaiting)
        return std::chrono::milliseconds(0);
    record.waiting.insert(now + pause);
    return pause;
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
