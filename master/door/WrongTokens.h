#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <set>

#include "ostrel/String.h"

namespace master
{

using ostrel::String;

/// What wrong tokens cost the peers that they come from.
///
/// Each answer to a wrong token comes after a pause that doubles with each of its peer, also where
/// many come side by side. Until then it holds its stream, and of these, and of connections, a peer
/// has a limited number: so guessing stays slow however many guess at once. A right token is never
/// held up by what else comes from its peer. It need not be for a secret of 256 random bits: a
/// thousand guesses a second find one no more than one a second does. Not thread-safe.
class WrongTokens
{
public:
    using Clock = std::chrono::steady_clock;

    static constexpr std::chrono::milliseconds k_FirstPause{250};
    /// Less than a client waits for its greeting, so that it hears why.
    static constexpr std::chrono::milliseconds k_LongestPause{8000};
    static constexpr std::chrono::minutes k_ForgottenAfter{10};
    static constexpr std::size_t k_MostTold = 4; ///< At a time, of one peer.
    static constexpr std::size_t k_MostPeers = 10'000;

    struct Cost
    {
        std::chrono::milliseconds pause; ///< Before its answer.
        bool isToTell = true; ///< False where so many of the peer are paused that a log has enough.
    };

    /// Notes a wrong token.
    Cost Note(const String &peerKey, Clock::time_point now);

private:
    struct Record
    {
        unsigned count = 0;
        Clock::time_point last{};
        std::multiset<Clock::time_point> told; // Until when their pauses are.
    };

    void ForgetOld(Clock::time_point now);

    std::map<String, Record> m_peers;
};

} // namespace master
