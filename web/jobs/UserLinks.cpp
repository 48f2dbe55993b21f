#include "web/jobs/UserLinks.h"

#include <boost/asio/post.hpp>
#include <utility>

#include "ostrel/Exception.h"
#include "ostrel/Log.h"
#include "web/jobs/Statuses.h"

namespace web
{

class UserLinks::User : private MasterLink::User
{
public:
    User(UserLinks &owner, String session, std::unique_ptr<corvan::Link> link,
         Gatekeeper::Told told)
        : m_owner(owner), m_session(std::move(session)), m_told(std::move(told)),
          m_timer(owner.m_loop), m_link(owner.m_loop, std::move(link), *this)
    {
        m_timer.expires_after(k_Patience);
        m_timer.async_wait(
            [this](const boost::system::error_code &error)
            {
                if (!error)
                    GiveUp({k_Unavailable, "the Master does not answer"});
            });
    }

    MasterLink &Link()
    {
        return m_link;
    }

private:
    void OnUp() override
    {
        m_timer.cancel();
        if (const Gatekeeper::Told told = std::exchange(m_told, nullptr))
            told({});
    }

    void OnDown(const String & /*reason*/) override {}

    void OnTurnedAway(const String &reason) override
    {
        GiveUp({k_Unauthorized, reason});
    }

    void OnNews(const boost::shared_ptr<Message> & /*message*/) override {}

    // Deletes this, once nothing of it is under way.
    void GiveUp(const Gatekeeper::Verdict &verdict)
    {
        m_timer.cancel();
        if (const Gatekeeper::Told told = std::exchange(m_told, nullptr))
        {
            told(verdict);
            m_owner.End(m_session);
        }
        else if (m_owner.m_endSession)
            m_owner.m_endSession(m_session);
    }

    UserLinks &m_owner;
    const String m_session;
    Gatekeeper::Told m_told; ///< Empty once it was told.
    boost::asio::steady_timer m_timer;
    MasterLink m_link;
};

UserLinks::UserLinks(boost::asio::io_context &loop, MakeLink makeLink)
    : m_loop(loop), m_makeLink(std::move(makeLink))
{
}

UserLinks::~UserLinks() = default;

void UserLinks::AskWhose(const std::shared_ptr<const Caller> &caller, Told told)
{
    // A personal server's user is the one that the Master knows this program by.
    if (caller->token.empty())
        return told({});
    try
    {
        m_users[caller->session] = std::make_unique<User>(
            *this, caller->session, m_makeLink(caller->token), std::move(told));
    }
    catch (ostrel::Exception *raw)
    {
        const std::unique_ptr<ostrel::Exception> error(raw);
        m_users.erase(caller->session);
        ostrel::LogError(error->Text());
        if (told)
            told({k_Unavailable, error->Text()});
    }
}

void UserLinks::OnEnded(const std::shared_ptr<const Caller> &caller)
{
    End(caller->session);
}

MasterLink *UserLinks::Find(const Caller &caller)
{
    const auto found = m_users.find(caller.session);
    return found == m_users.end() ? nullptr : &found->second->Link();
}

// It may be in the middle of telling something, so it goes in a turn of its own.
void UserLinks::End(const String &session)
{
    auto ended = m_users.extract(session);
    if (!ended.empty())
        boost::asio::post(m_loop, [user = std::shared_ptr<User>(std::move(ended.mapped()))] {});
}

} // namespace web
