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
/// The answer to a wrong token comes after a pause that doubles with each. While several different
/// ones of a peer have their pause, what else comes from it is refused without a look at its token,
/// so that guessing gets no quicker by guessing side by side: who brings the right one from there
/// has to come again, too. Programs that go on with one token after it was removed do not do that
/// to their neighbours, since it is the same one each time. Other peers notice nothing. Not
/// thread-safe.
class WrongTokens
{
public:
    using Clock = std::chrono::steady_clock;

    static constexpr std::chrono::milliseconds k_FirstPause{250};
    /// Less than a client waits for its greeting, so that it hears why.
    static constexpr std::chrono::milliseconds k_LongestPause{8000};
    static constexpr std::chrono::minutes k_ForgottenAfter{10};
    static constexpr std::size_t k_MostTokens = 4;  ///< That have their pause, different ones.
    static constexpr std::size_t k_MostWaiting = 4; ///< Answers that are waited for.
    static constexpr std::size_t k_MostPeers = 10'000;

    /// True while so many of the peer's tokens have their pause that no more are looked at.
    bool IsBarred(const String &peerKey, Clock::time_point now) const;

    /// Notes a wrong token, by what tells it from another, and gives the pause before its answer:
    /// none where as many answers of the peer are waited for as may be.
    std::chrono::milliseconds Note(const String &peerKey, const String &token,
                                   Clock::time_point now);

private:
    struct Record
    {
        unsigned count = 0;
        Clock::time_point last{};
        std::multiset<Clock::time_point> waiting;     // Until when.
        std::map<String, Clock::time_point> tokens{}; // The same, of each.
    };

    void ForgetOld(Clock::time_point now);

    std::map<String, Record> m_peers;
};

} // namespace master
