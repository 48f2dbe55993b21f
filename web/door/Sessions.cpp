#include "web/door/Sessions.h"

#include <algorithm>

#include "ostrel/CallEntry.h"
#include "web/door/Secrets.h"

namespace web
{

using ostrel::_CallEntry;

namespace
{

// A cookie opens nothing as a token, and the other way round.
std::string CookieKey(std::string_view value)
{
    return "cookie " + DigestOf(value);
}

std::string TokenKey(std::string_view token)
{
    return "token " + DigestOf(token);
}

} // namespace

Sessions::Sessions(std::size_t most, std::chrono::milliseconds idleFor, Ended ended)
    : m_most(most), m_idleFor(idleFor), m_ended(std::move(ended))
{
    _CallEntry call("Sessions::Sessions", __FILE__, __LINE__);
}

std::shared_ptr<const Caller> Sessions::MakeCaller(const String &token)
{
    _CallEntry call("Sessions::MakeCaller", __FILE__, __LINE__);

    return std::make_shared<const Caller>(Caller{MakeSecretText().substr(0, 16), token});
}

String Sessions::OpenByCookie(const std::shared_ptr<const Caller> &caller, Clock::time_point now)
{
    _CallEntry call("Sessions::OpenByCookie", __FILE__, __LINE__);

    String value = MakeSecretText();
    Open(CookieKey(value), caller, now);
    return value;
}

void Sessions::OpenByToken(std::string_view token, const std::shared_ptr<const Caller> &caller,
                           Clock::time_point now)
{
    _CallEntry call("Sessions::OpenByToken", __FILE__, __LINE__);

    Open(TokenKey(token), caller, now);
}

std::shared_ptr<const Caller> Sessions::FindByCookie(std::string_view value, Clock::time_point now)
{
    _CallEntry call("Sessions::FindByCookie", __FILE__, __LINE__);

    return Find(CookieKey(value), now);
}

std::shared_ptr<const Caller> Sessions::FindByToken(std::string_view token, Clock::time_point now)
{
    _CallEntry call("Sessions::FindByToken", __FILE__, __LINE__);

    return Find(TokenKey(token), now);
}

bool Sessions::End(const String &session)
{
    _CallEntry call("Sessions::End", __FILE__, __LINE__);

    const auto found =
        std::find_if(m_sessions.begin(), m_sessions.end(),
                     [&](const auto &each) { return each.second.caller->session == session; });
    if (found == m_sessions.end())
        return false;
    End(found);
    return true;
}

void Sessions::EndIdle(Clock::time_point now, const std::function<bool(const Caller &)> &isBusy)
{
    _CallEntry call("Sessions::EndIdle", __FILE__, __LINE__);

    for (auto each = m_sessions.begin(); each != m_sessions.end();)
    {
        const auto session = each++;
        if (isBusy(*session->second.caller))
            session->second.used = now;
        else if (session->second.used + m_idleFor <= now)
            End(session);
    }
}

String Sessions::MakeSecret()
{
    _CallEntry call("Sessions::MakeSecret", __FILE__, __LINE__);

    String secret = MakeSecretText();
    m_secrets.push_back(DigestOf(secret));
    if (m_secrets.size() > k_MostSecrets)
        m_secrets.pop_front();
    return secret;
}

bool Sessions::TakeSecret(std::string_view secret)
{
    _CallEntry call("Sessions::TakeSecret", __FILE__, __LINE__);

    return std::erase(m_secrets, DigestOf(secret)) > 0;
}

void Sessions::Open(std::string key, const std::shared_ptr<const Caller> &caller,
                    Clock::time_point now)
{
    _CallEntry call("Sessions::Open", __FILE__, __LINE__);

    m_sessions.insert_or_assign(std::move(key), Session{caller, now});
    while (m_sessions.size() > m_most)
        End(std::min_element(m_sessions.begin(), m_sessions.end(),
                             [](const auto &a, const auto &b)
                             { return a.second.used < b.second.used; }));
}

std::shared_ptr<const Caller> Sessions::Find(const std::string &key, Clock::time_point now)
{
    _CallEntry call("Sessions::Find", __FILE__, __LINE__);

    const auto found = m_sessions.find(key);
    if (found == m_sessions.end())
        return nullptr;
    if (found->second.used + m_idleFor <= now)
    {
        End(found);
        return nullptr;
    }
    found->second.used = now;
    return found->second.caller;
}

void Sessions::End(ByKey::iterator session)
{
    _CallEntry call("Sessions::End", __FILE__, __LINE__);

    const std::shared_ptr<const Caller> caller = session->second.caller;
    m_sessions.erase(session);
    m_ended(caller);
}

} // namespace web
