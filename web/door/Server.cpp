#include "web/door/Server.h"

#include <boost/asio/steady_timer.hpp>
#include <optional>
#include <unistd.h>

#include "ostrel/CallEntry.h"
#include "ostrel/Log.h"
#include "web/door/Conversation.h"
#include "web/door/Listening.h"
#include "web/door/PeerUser.h"
#include "web/door/Served.h"
#include "web/door/TlsContexts.h"

namespace web
{

using boost::asio::ip::tcp;
using boost::system::error_code;
using ostrel::_CallEntry;

namespace
{

constexpr std::chrono::seconds k_accept_again_after{1};
constexpr std::chrono::seconds k_end_idle_every{60};

// One household has as many addresses of IPv6 as it likes.
String PeerOf(const boost::asio::ip::address &address)
{
    if (!address.is_v6())
        return address.to_string();
    auto bytes = address.to_v6().to_bytes();
    if (address.to_v6().is_v4_mapped() || address.is_loopback())
        return address.to_string();
    std::fill(bytes.begin() + 8, bytes.end(), 0);
    return boost::asio::ip::address_v6(bytes).to_string() + "/64";
}

Refusal ForStrangers()
{
    return {403, "this server belongs to another user of this machine: start your own with "
                 "\"corvan web\""};
}

} // namespace

/// The listening sockets, and what all conversations share.
class Server::Parts : public std::enable_shared_from_this<Parts>
{
public:
    Parts(boost::asio::io_context &loop, const ServerSettings &settings, const Routes &routes,
          Gatekeeper &gatekeeper);

    void Begin();
    void End();
    void RenewCertificate();

    std::uint16_t Port() const
    {
        return m_listening.port;
    }
    std::string Origin() const
    {
        return m_scheme + "://" + m_listening.names.front() + ":" + std::to_string(Port());
    }
    Served &What()
    {
        return *m_served;
    }

private:
    void Accept(tcp::acceptor &acceptor);
    void AcceptLater(tcp::acceptor &acceptor);
    void Welcome(tcp::socket socket);
    bool IsStranger(tcp::socket &socket) const;
    void EndIdleSessions();

    boost::asio::io_context &m_loop;
    const bool m_isPersonal;
    std::optional<TlsContexts> m_tls;
    const std::string m_scheme;
    Listening m_listening;
    const std::shared_ptr<Served> m_served; // With the conversations.
    boost::asio::steady_timer m_sessionTimer;
    bool m_isOver = false;
};

Server::Parts::Parts(boost::asio::io_context &loop, const ServerSettings &settings,
                     const Routes &routes, Gatekeeper &gatekeeper)
    : m_loop(loop), m_isPersonal(!settings.personalToken.empty()),
      m_tls(settings.tls ? std::optional<TlsContexts>(*settings.tls) : std::nullopt),
      m_scheme(m_tls ? "https" : "http"), m_listening(ListenAt(loop, settings)),
      m_served(new Served{.limits = settings.limits,
                          .guard = Guard(m_scheme, m_listening.names, m_listening.port),
                          .files = FileShelf(settings.files),
                          .conversations = Conversations(settings.limits.connections,
                                                         settings.limits.connectionsOfPeer)}),
      m_sessionTimer(loop)
{
    _CallEntry call("Server::Parts::Parts", __FILE__, __LINE__);

    m_served->admission = std::make_shared<Admission>(
        gatekeeper, settings, m_listening.port,
        [served = m_served.get()](const std::shared_ptr<const Caller> &caller)
        { served->conversations.EndStreams(caller->session); });
    m_served->routes = routes;
    m_served->admission->AddRoutes(m_served->routes);
}

void Server::Parts::Begin()
{
    _CallEntry call("Server::Parts::Begin", __FILE__, __LINE__);

    for (tcp::acceptor &acceptor : m_listening.acceptors)
        Accept(acceptor);
    EndIdleSessions();
}

void Server::Parts::End()
{
    _CallEntry call("Server::Parts::End", __FILE__, __LINE__);

    m_isOver = true;
    error_code ignored;
    for (tcp::acceptor &acceptor : m_listening.acceptors)
        acceptor.close(ignored);
    m_sessionTimer.cancel();
    m_served->admission->ForgetAsked();
    m_served->conversations.DropAll();
}

void Server::Parts::RenewCertificate()
{
    _CallEntry call("Server::Parts::RenewCertificate", __FILE__, __LINE__);

    if (m_tls)
        m_tls->Renew();
}

void Server::Parts::Accept(tcp::acceptor &acceptor)
{
    _CallEntry call("Server::Parts::Accept", __FILE__, __LINE__);

    acceptor.async_accept(
        [self = shared_from_this(), &acceptor](const error_code &error, tcp::socket socket)
        {
            if (self->m_isOver)
                return;
            // There are no descriptors left; there may be again.
            if (error)
                return self->AcceptLater(acceptor);
            self->Accept(acceptor);
            self->Welcome(std::move(socket));
        });
}

void Server::Parts::AcceptLater(tcp::acceptor &acceptor)
{
    _CallEntry call("Server::Parts::AcceptLater", __FILE__, __LINE__);

    const auto timer = std::make_shared<boost::asio::steady_timer>(m_loop, k_accept_again_after);
    timer->async_wait(
        [self = shared_from_this(), timer, &acceptor](const error_code &)
        {
            if (!self->m_isOver)
                self->Accept(acceptor);
        });
}

void Server::Parts::Welcome(tcp::socket socket)
{
    _CallEntry call("Server::Parts::Welcome", __FILE__, __LINE__);

    error_code error;
    const tcp::endpoint end = socket.remote_endpoint(error);
    if (error)
        return; // He has gone already.
    const bool isStranger = IsStranger(socket);
    const String peer = isStranger ? Conversations::k_Strangers : PeerOf(end.address());
    const Conversations::Room room = m_served->conversations.MakeRoom(peer);
    if (room == Conversations::Room::None)
        return;
    Refusal refusal;
    if (isStranger)
        refusal = ForStrangers();
    else if (room == Conversations::Room::ToRefuse)
        refusal = {429, "there are too many connections: try again later", "Retry-After", "1"};
    socket.set_option(tcp::no_delay(true), error);
    auto wire =
        m_tls ? MakeTlsWire(std::move(socket), m_tls->Current()) : MakeBareWire(std::move(socket));
    const auto conversation =
        std::make_shared<Conversation>(m_loop, m_served, std::move(wire), peer, refusal);
    m_served->conversations.Add(conversation);
    conversation->Begin();
}

// Whoever else is on this machine may have the cookie: browsers send it to all ports of a host.
bool Server::Parts::IsStranger(tcp::socket &socket) const
{
    _CallEntry call("Server::Parts::IsStranger", __FILE__, __LINE__);

    if (!m_isPersonal)
        return false;
    const std::optional<uid_t> user = FindPeerUser(socket);
    return !user || (*user != ::geteuid() && *user != 0);
}

void Server::Parts::EndIdleSessions()
{
    _CallEntry call("Server::Parts::EndIdleSessions", __FILE__, __LINE__);

    // A page that is told events asks for nothing while nothing happens.
    m_served->admission->EndIdleSessions(
        [this](const Caller &caller)
        { return m_served->conversations.CountStreamsOf(caller.session) > 0; });
    m_sessionTimer.expires_after(k_end_idle_every);
    m_sessionTimer.async_wait(
        [weak = weak_from_this()](const error_code &error)
        {
            const auto self = weak.lock();
            if (!error && self && !self->m_isOver)
                self->EndIdleSessions();
        });
}

Server::Server(boost::asio::io_context &loop, const ServerSettings &settings, const Routes &routes,
               Gatekeeper &gatekeeper)
    : m_parts(std::make_shared<Parts>(loop, settings, routes, gatekeeper))
{
    _CallEntry call("Server::Server", __FILE__, __LINE__);

    m_parts->Begin();
}

Server::~Server()
{
    _CallEntry call("Server::~Server", __FILE__, __LINE__);

    m_parts->End();
}

std::uint16_t Server::Port() const
{
    _CallEntry call("Server::Port", __FILE__, __LINE__);

    return m_parts->Port();
}

std::string Server::Origin() const
{
    _CallEntry call("Server::Origin", __FILE__, __LINE__);

    return m_parts->Origin();
}

String Server::MakeSecret()
{
    _CallEntry call("Server::MakeSecret", __FILE__, __LINE__);

    return m_parts->What().admission->MakeSecret();
}

void Server::RenewCertificate()
{
    _CallEntry call("Server::RenewCertificate", __FILE__, __LINE__);

    m_parts->RenewCertificate();
}

void Server::EndSession(const String &session)
{
    _CallEntry call("Server::EndSession", __FILE__, __LINE__);

    m_parts->What().admission->EndSession(session);
}

std::chrono::steady_clock::duration Server::IdleFor() const
{
    _CallEntry call("Server::IdleFor", __FILE__, __LINE__);

    Served &served = m_parts->What();
    if (served.conversations.CountStreams() > 0)
        return {};
    return std::chrono::steady_clock::now() - served.used;
}

} // namespace web
