#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "web/door/Request.h"

namespace web
{

/// Who is known here, by the cookie of a page or by the token of a script. Loop thread.
class Sessions
{
public:
    using Clock = std::chrono::steady_clock;
    using Ended = std::function<void(const std::shared_ptr<const Caller> &)>;

    static constexpr std::size_t k_MostSecrets = 16;

    /// `ended` is told of each session that ends, but of those that are left at the end of this.
    Sessions(std::size_t most, std::chrono::milliseconds idleFor, Ended ended);

    /// A caller that is in no session yet.
    static std::shared_ptr<const Caller> MakeCaller(const String &token);

    /// The value of a cookie that is the session's from now on.
    String OpenByCookie(const std::shared_ptr<const Caller> &caller, Clock::time_point now);
    /// The token is the session's from now on.
    void OpenByToken(std::string_view token, const std::shared_ptr<const Caller> &caller,
                     Clock::time_point now);

    /// Null for none. One that is found has been used.
    std::shared_ptr<const Caller> FindByCookie(std::string_view value, Clock::time_point now);
    std::shared_ptr<const Caller> FindByToken(std::string_view token, Clock::time_point now);

    /// By the caller's name of it; false where there is none.
    bool End(const String &session);
    /// Those that `isBusy` says of are in use.
    void EndIdle(Clock::time_point now, const std::function<bool(const Caller &)> &isBusy);

    /// Good once; of too many the oldest goes.
    String MakeSecret();
    bool TakeSecret(std::string_view secret);

private:
    struct Session
    {
        std::shared_ptr<const Caller> caller;
        Clock::time_point used;
    };
    using ByKey = std::map<std::string, Session, std::less<>>;

    void Open(std::string key, const std::shared_ptr<const Caller> &caller, Clock::time_point now);
    std::shared_ptr<const Caller> Find(const std::string &key, Clock::time_point now);
    void End(ByKey::iterator session);

    const std::size_t m_most;
    const std::chrono::milliseconds m_idleFor;
    const Ended m_ended;
    ByKey m_sessions;                  // By a digest of what opens them.
    std::deque<std::string> m_secrets; // Their digests, the oldest first.
};

} // namespace web
