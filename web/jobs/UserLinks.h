#pragma once

#include <boost/asio/steady_timer.hpp>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "web/door/Gatekeeper.h"
#include "web/jobs/MasterLink.h"

namespace web
{

/// A connection to the Master for each user of a studio's server, by the user's own token: so the
/// Master says whose a token is, and what is done is done with that user's rights. Loop thread.
class UserLinks : public Gatekeeper
{
public:
    /// Makes the way to the Master that brings this token. Throws `ostrel::Exception *`.
    using MakeLink = std::function<std::unique_ptr<corvan::Link>(const String &token)>;
    /// The Master does not take the token of a session any more.
    using EndSession = std::function<void(const String &session)>;

    static constexpr std::chrono::seconds k_Patience{10};

    UserLinks(boost::asio::io_context &loop, MakeLink makeLink);
    ~UserLinks() override;

    void SetEndSession(EndSession endSession)
    {
        m_endSession = std::move(endSession);
    }

    void AskWhose(const std::shared_ptr<const Caller> &caller, Told told) override;
    void OnEnded(const std::shared_ptr<const Caller> &caller) override;

    /// Null for a session that is not there.
    MasterLink *Find(const Caller &caller);

private:
    class User;

    void End(const String &session);

    boost::asio::io_context &m_loop;
    const MakeLink m_makeLink;
    EndSession m_endSession;
    std::map<String, std::unique_ptr<User>> m_users; // By session.
};

} // namespace web
