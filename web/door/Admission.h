#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "web/door/Gatekeeper.h"
#include "web/door/Head.h"
#include "web/door/Refusal.h"
#include "web/door/Routes.h"
#include "web/door/ServerSettings.h"
#include "web/door/Sessions.h"

namespace web
{

/// Finds out who asks: by the cookie of a page, by the token of a script. Loop thread.
class Admission : public std::enable_shared_from_this<Admission>
{
public:
    using Clock = Sessions::Clock;
    /// The caller, or null and why.
    using Told = std::function<void(const std::shared_ptr<const Caller> &, const Refusal &)>;

    /// `ended` is called of each session that ends, after the gatekeeper, which outlives this.
    Admission(Gatekeeper &gatekeeper, const ServerSettings &settings, std::uint16_t port,
              Sessions::Ended ended);

    /// Calls `told` once, now or later.
    void Identify(const Head &head, const String &peer, Told told);

    /// "POST /api/session" and "POST /api/session/end". The table must not outlive this.
    void AddRoutes(Routes &routes);

    String MakeSecret();
    void EndSession(const String &session);
    void EndIdleSessions(const std::function<bool(const Caller &)> &isBusy);
    /// The server ends: nobody who waits is told.
    void ForgetAsked();

private:
    using CallerTold = std::function<void(const Gatekeeper::Verdict &)>;

    void AskToken(std::string_view token, const String &peer, Told told);
    void AskGatekeeper(const std::shared_ptr<const Caller> &caller, const String &peer,
                       CallerTold told);
    void LogIn(const Request &request, const Reply &reply);
    void LogInWithToken(const String &token, const String &peer, const Reply &reply);
    void LogOut(const Request &request, const Reply &reply);
    Response CookieResponse(const String &value, const char *more) const;

    Gatekeeper &m_gatekeeper;
    const bool m_isPersonal;
    const std::string m_personalDigest;
    const bool m_isSecure;
    const std::string m_cookieName;
    const std::size_t m_mostQuestions;
    const std::size_t m_mostQuestionsOfPeer;
    Sessions m_sessions;
    std::map<std::string, std::vector<Told>> m_asked; // Who waits, by the token's digest.
    std::map<String, std::size_t> m_questionsOfPeer;
    std::size_t m_questions = 0;
    bool m_isOver = false;
};

} // namespace web
