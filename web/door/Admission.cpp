#include "web/door/Admission.h"

#include <nlohmann/json.hpp>

#include "ostrel/CallEntry.h"
#include "web/door/Guard.h"
#include "web/door/HttpError.h"
#include "web/door/Secrets.h"

namespace web
{

using ostrel::_CallEntry;

namespace
{

Refusal NobodyKnown(const char *sentence)
{
    return {401, sentence, "WWW-Authenticate", "Bearer"};
}

Refusal ToRefusal(const Gatekeeper::Verdict &verdict)
{
    if (verdict.status == 401)
        return {401, verdict.reason, "WWW-Authenticate", "Bearer"};
    if (verdict.status == 429)
        return {429, verdict.reason, "Retry-After", "1"};
    return {verdict.status, verdict.reason};
}

/// Has the verdict told once: where whoever was asked drops it, that is one, too.
class Question
{
public:
    explicit Question(Gatekeeper::Told told) : m_told(std::move(told)) {}
    ~Question()
    {
        Tell({503, "it could not be found out whose the token is"});
    }
    Question(const Question &) = delete;
    Question &operator=(const Question &) = delete;

    void Tell(const Gatekeeper::Verdict &verdict)
    {
        if (const Gatekeeper::Told told = std::exchange(m_told, nullptr))
            told(verdict);
    }

private:
    Gatekeeper::Told m_told;
};

// The text of one of the names in an object of JSON; empty where it has none.
String TextIn(const nlohmann::json &object, const char *name)
{
    const auto found = object.is_object() ? object.find(name) : object.end();
    return found != object.end() && found->is_string() ? String(found->get<std::string>())
                                                       : String();
}

std::string CookieName(bool isSecure, std::uint16_t port)
{
    // Browsers send a cookie to every port of its host, so its name holds the port. The prefix has
    // them refuse one that another host of the domain has set.
    return (isSecure ? "__Host-corvan-" : "corvan-") + std::to_string(port);
}

} // namespace

Admission::Admission(Gatekeeper &gatekeeper, const ServerSettings &settings, std::uint16_t port,
                     Sessions::Ended ended)
    : m_gatekeeper(gatekeeper), m_isPersonal(!settings.personalToken.empty()),
      m_personalDigest(DigestOf(settings.personalToken)), m_isSecure(settings.tls.has_value()),
      m_cookieName(CookieName(m_isSecure, port)), m_mostQuestions(settings.limits.questions),
      m_mostQuestionsOfPeer(settings.limits.questionsOfPeer),
      m_sessions(settings.limits.sessions, settings.limits.sessionIdleFor,
                 [this, ended = std::move(ended)](const std::shared_ptr<const Caller> &caller)
                 {
                     m_gatekeeper.OnEnded(caller);
                     ended(caller);
                 })
{
    _CallEntry call("Admission::Admission", __FILE__, __LINE__);
}

void Admission::Identify(const Head &head, const String &peer, Told told)
{
    _CallEntry call("Admission::Identify", __FILE__, __LINE__);

    const auto now = Clock::now();
    if (head.authorization)
    {
        const std::string_view token = BearerOf(head);
        if (token.empty())
            return told(nullptr, NobodyKnown("the request has no token: Authorization: Bearer"));
        if (const auto caller = m_sessions.FindByToken(token, now))
            return told(caller, {});
        return AskToken(token, peer, std::move(told));
    }
    for (const std::string_view value : CookiesOf(head, m_cookieName))
        if (const auto caller = m_sessions.FindByCookie(value, now))
            return told(caller, {});
    told(nullptr, NobodyKnown("the request does not prove who asks"));
}

void Admission::AddRoutes(Routes &routes)
{
    _CallEntry call("Admission::AddRoutes", __FILE__, __LINE__);

    routes.AddOpen(Method::Post, "/api/session",
                   [this](const std::shared_ptr<const Request> &request, const Reply &reply)
                   { LogIn(*request, reply); });
    routes.Add(Method::Post, "/api/session/end",
               [this](const std::shared_ptr<const Request> &request, const Reply &reply)
               { LogOut(*request, reply); });
}

String Admission::MakeSecret()
{
    _CallEntry call("Admission::MakeSecret", __FILE__, __LINE__);

    return m_sessions.MakeSecret();
}

void Admission::EndSession(const String &session)
{
    _CallEntry call("Admission::EndSession", __FILE__, __LINE__);

    m_sessions.End(session);
}

void Admission::EndIdleSessions(const std::function<bool(const Caller &)> &isBusy)
{
    _CallEntry call("Admission::EndIdleSessions", __FILE__, __LINE__);

    m_sessions.EndIdle(Clock::now(), isBusy);
}

void Admission::ForgetAsked()
{
    _CallEntry call("Admission::ForgetAsked", __FILE__, __LINE__);

    m_isOver = true;
    m_asked.clear();
}

void Admission::AskToken(std::string_view token, const String &peer, Told told)
{
    _CallEntry call("Admission::AskToken", __FILE__, __LINE__);

    const std::string digest = DigestOf(token);
    if (m_isPersonal)
    {
        if (digest != m_personalDigest)
            return told(nullptr, NobodyKnown("the token is not that of this server"));
        const auto caller = Sessions::MakeCaller({});
        m_sessions.OpenByToken(token, caller, Clock::now());
        return told(caller, {});
    }

    // A script's first requests may come side by side: one question is enough for them.
    auto &waiting = m_asked[digest];
    waiting.push_back(std::move(told));
    if (waiting.size() > 1)
        return;
    const auto caller = Sessions::MakeCaller(String(token));
    AskGatekeeper(caller, peer,
                  [this, digest, caller](const Gatekeeper::Verdict &verdict)
                  {
                      const auto waiters = std::move(m_asked.extract(digest).mapped());
                      const bool isKnown = verdict.status == 200;
                      if (isKnown)
                          m_sessions.OpenByToken(caller->token, caller, Clock::now());
                      const Refusal refusal = isKnown ? Refusal() : ToRefusal(verdict);
                      for (const Told &each : waiters)
                          each(isKnown ? caller : nullptr, refusal);
                  });
}

void Admission::AskGatekeeper(const std::shared_ptr<const Caller> &caller, const String &peer,
                              CallerTold told)
{
    _CallEntry call("Admission::AskGatekeeper", __FILE__, __LINE__);

    const auto ofPeer = m_questionsOfPeer.find(peer);
    if (m_questions >= m_mostQuestions ||
        (ofPeer != m_questionsOfPeer.end() && ofPeer->second >= m_mostQuestionsOfPeer))
        return told({429, "too many tokens are looked at: try again later"});
    ++m_questions;
    ++m_questionsOfPeer[peer];
    const auto question = std::make_shared<Question>(
        [weak = weak_from_this(), peer, told = std::move(told)](const Gatekeeper::Verdict &verdict)
        {
            const auto self = weak.lock();
            if (!self || self->m_isOver)
                return;
            --self->m_questions;
            if (--self->m_questionsOfPeer[peer] == 0)
                self->m_questionsOfPeer.erase(peer);
            told(verdict);
        });
    m_gatekeeper.AskWhose(caller, [question](const Gatekeeper::Verdict &verdict)
                          { question->Tell(verdict); });
}

void Admission::LogIn(const Request &request, const Reply &reply)
{
    _CallEntry call("Admission::LogIn", __FILE__, __LINE__);

    const auto object = nlohmann::json::parse(request.body, nullptr, false);
    const String secret = TextIn(object, "secret");
    const String token = TextIn(object, "token");
    if (secret.empty() == token.empty())
        throw new HttpError(400, "the body has to be {\"secret\": TEXT} or {\"token\": TEXT}");
    if (!token.empty())
        return LogInWithToken(token, request.peer, reply);
    if (!m_sessions.TakeSecret(secret))
        return reply(ToResponse(
            NobodyKnown("the link has been used, or is one of a server that has ended")));
    const auto caller = Sessions::MakeCaller({});
    reply(CookieResponse(m_sessions.OpenByCookie(caller, Clock::now()), ""));
}

void Admission::LogInWithToken(const String &token, const String &peer, const Reply &reply)
{
    _CallEntry call("Admission::LogInWithToken", __FILE__, __LINE__);

    if (m_isPersonal)
    {
        if (DigestOf(token) != m_personalDigest)
            return reply(ToResponse(NobodyKnown("the token is not that of this server")));
        const auto caller = Sessions::MakeCaller({});
        return reply(CookieResponse(m_sessions.OpenByCookie(caller, Clock::now()), ""));
    }
    const auto caller = Sessions::MakeCaller(token);
    AskGatekeeper(caller, peer,
                  [this, caller, reply](const Gatekeeper::Verdict &verdict)
                  {
                      if (verdict.status != 200)
                          return reply(ToResponse(ToRefusal(verdict)));
                      reply(CookieResponse(m_sessions.OpenByCookie(caller, Clock::now()), ""));
                  });
}

void Admission::LogOut(const Request &request, const Reply &reply)
{
    _CallEntry call("Admission::LogOut", __FILE__, __LINE__);

    const std::shared_ptr<const Caller> caller = request.caller;
    reply(CookieResponse({}, "; Max-Age=0"));
    EndSession(caller->session);
}

Response Admission::CookieResponse(const String &value, const char *more) const
{
    _CallEntry call("Admission::CookieResponse", __FILE__, __LINE__);

    Response response;
    response.status = 204;
    response.headers.emplace_back("Set-Cookie", m_cookieName + "=" + value +
                                                    "; Path=/; HttpOnly; SameSite=Strict" +
                                                    (m_isSecure ? "; Secure" : "") + more);
    return response;
}

} // namespace web
