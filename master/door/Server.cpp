#include "master/door/Server.h"

#include <algorithm>
#include <boost/asio/post.hpp>
#include <cassert>

#include "corvan/MessageFactory.h"
#include "master/door/Greeting.h"
#include "master/door/Refusal.h"
#include "ostrel/Attempt.h"
#include "ostrel/CallEntry.h"
#include "ostrel/Log.h"

namespace master
{

using boost::system::error_code;
using ostrel::_CallEntry;

namespace
{

constexpr std::size_t k_requests_per_turn = 256;
constexpr std::chrono::seconds k_look_at_tokens_after{1};

// "job_parameter" of a message that could not be read.
String BodyName(const wire::Envelope &envelope)
{
    const auto *field = wire::Envelope::descriptor()->FindFieldByNumber(envelope.body_case());
    return field ? String(field->message_type()->name()) : String("message");
}

} // namespace

/// Gives gRPC a session for each client that may come in.
class Server::Service : public wire::Master::WithRawCallbackMethod_Connect<wire::Master::Service>
{
public:
    explicit Service(Server &server) : m_server(server), m_owner(server) {}

    grpc::ServerBidiReactor<grpc::ByteBuffer, grpc::ByteBuffer> *
    Connect(grpc::CallbackServerContext *context) override
    {
        const Doorkeeper::Verdict verdict = m_server.m_doorkeeper.Admit(*context);
        if (!verdict.who)
            return Refusal::Make(m_server.m_loop, verdict.refusal, verdict.pause);
        const auto session = std::make_shared<Session>(m_owner, m_server.m_courier, *context,
                                                       m_server.m_settings.limits);
        boost::asio::post(m_server.m_loop,
                          [this, session, who = verdict.who] { m_server.OnArrived(session, who); });
        session->Begin();
        return session.get();
    }

private:
    Server &m_server;
    Session::Owner &m_owner;
};

struct Server::Client
{
    Client(boost::asio::io_context &loop, ClientNumber clientNumber,
           std::shared_ptr<Session> clientSession, std::shared_ptr<const Identity> identity)
        : number(clientNumber), session(std::move(clientSession)), who(std::move(identity)),
          helloTimer(loop)
    {
    }

    ClientNumber number;
    std::shared_ptr<Session> session;
    std::shared_ptr<const Identity> who;
    boost::asio::steady_timer helloTimer;
    bool isWelcome = false;
    bool isReady = false;
    bool isExpelled = false; ///< What it has asked for is not done any more.
};

Server::Server(boost::asio::io_context &loop, ServerSettings settings, const UID &masterID,
               User &user)
    : m_loop(loop), m_settings(RequireTls(std::move(settings))), m_masterID(masterID), m_user(user),
      m_doorkeeper(m_settings), m_tokensTimer(loop), m_courier(m_settings.pace),
      m_service(std::make_unique<Service>(*this)),
      m_listener(std::make_unique<Listener>(m_settings, *m_service))
{
    _CallEntry call("Server::Server", __FILE__, __LINE__);

    if (m_settings.address.kind == MasterAddress::Kind::Tcp)
        WatchTokens();
}

Server::~Server()
{
    _CallEntry call("Server::~Server", __FILE__, __LINE__);

    // It calls back while it ends.
    m_listener.reset();
}

void Server::OnArrived(const std::shared_ptr<Session> &session, std::shared_ptr<const Identity> who)
{
    _CallEntry call("Server::OnArrived", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    // The tokens may have changed since it was let in.
    if (const String reason = m_doorkeeper.CheckStill(*who); !reason.empty())
        return session->End({grpc::StatusCode::UNAUTHENTICATED, reason});
    if (const String reason = CheckRoom(*who); !reason.empty())
    {
        ostrel::LogWarning("a client of " + who->user + " from " + who->peer +
                           " was turned away: " + reason);
        session->End({grpc::StatusCode::RESOURCE_EXHAUSTED, reason});
        return;
    }

    const ClientNumber number = ++m_lastClient;
    auto client = std::make_unique<Client>(m_loop, number, session, std::move(who));
    WatchHello(*client);
    ++m_clientsOfPeers[client->who->peerKey];
    m_bySession[session.get()] = client.get();
    m_clients[number] = std::move(client);
}

// Why there is no room for one more; empty where there is.
String Server::CheckRoom(const Identity &who) const
{
    _CallEntry call("Server::CheckRoom", __FILE__, __LINE__);

    const std::size_t kept =
        who.role == Role::Admin ? 0 : std::min(m_settings.keptForAdmins, m_settings.maxClients / 2);
    if (m_clients.size() + kept >= m_settings.maxClients)
        return "the Master has too many clients";
    const auto ofPeer = m_clientsOfPeers.find(who.peerKey);
    if (!who.isMastersOwn && ofPeer != m_clientsOfPeers.end() &&
        ofPeer->second >= m_settings.maxClientsOfPeer)
        return "the Master has too many clients from " + who.peer;
    return {};
}

void Server::WatchHello(Client &client)
{
    _CallEntry call("Server::WatchHello", __FILE__, __LINE__);

    client.helloTimer.expires_after(m_settings.helloWithin);
    client.helloTimer.async_wait(
        [this, number = client.number](const error_code &error)
        {
            const auto late = m_clients.find(number);
            if (error || late == m_clients.end() || late->second->isWelcome)
                return;
            ostrel::LogWarning("client " + std::to_string(number) + " did not say Hello");
            late->second->session->End(
                {grpc::StatusCode::DEADLINE_EXCEEDED, "no Hello within the time for it"});
        });
}

void Server::Reload()
{
    _CallEntry call("Server::Reload", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    RefreshTokens();
    if (const auto reason = ostrel::Attempt([&] { m_listener->RenewCertificate(); }))
        ostrel::LogError(*reason + "; the certificate from before goes on");
}

void Server::WatchTokens()
{
    _CallEntry call("Server::WatchTokens", __FILE__, __LINE__);

    m_tokensTimer.expires_after(k_look_at_tokens_after);
    m_tokensTimer.async_wait(
        [this](const error_code &error)
        {
            if (error)
                return;
            RefreshTokens();
            WatchTokens();
        });
}

void Server::RefreshTokens()
{
    _CallEntry call("Server::RefreshTokens", __FILE__, __LINE__);

    if (!m_doorkeeper.Refresh())
        return;
    for (const auto &[number, client] : m_clients)
    {
        const String reason = m_doorkeeper.CheckStill(*client->who);
        if (reason.empty())
            continue;
        ostrel::LogWarning("client " + std::to_string(number) + " of " + client->who->user +
                           " is sent away: " + reason);
        client->isExpelled = true;
        client->session->Expel({grpc::StatusCode::UNAUTHENTICATED, reason});
    }
}

void Server::OnIncoming(const std::shared_ptr<Session> &session)
{
    _CallEntry call("Server::OnIncoming", __FILE__, __LINE__);

    boost::asio::post(m_loop,
                      [this, session]
                      {
                          const auto found = m_bySession.find(session.get());
                          if (found != m_bySession.end())
                              ScheduleReady(*found->second);
                      });
}

void Server::ScheduleReady(Client &client)
{
    _CallEntry call("Server::ScheduleReady", __FILE__, __LINE__);

    if (client.isReady)
        return;
    client.isReady = true;
    m_ready.push_back(client.number);
    m_user.OnRequests();
}

void Server::OnGone(const std::shared_ptr<Session> &session)
{
    _CallEntry call("Server::OnGone", __FILE__, __LINE__);

    boost::asio::post(m_loop,
                      [this, session]
                      {
                          const auto found = m_bySession.find(session.get());
                          if (found == m_bySession.end())
                              return;
                          const ClientNumber number = found->second->number;
                          ostrel::LogInfo("client " + std::to_string(number) + " is gone");
                          const auto ofPeer = m_clientsOfPeers.find(found->second->who->peerKey);
                          if (--ofPeer->second == 0)
                              m_clientsOfPeers.erase(ofPeer);
                          m_bySession.erase(found);
                          m_clients.erase(number);
                          m_user.OnClientGone(number);
                      });
}

std::vector<Server::Request> Server::TakeRequests()
{
    _CallEntry call("Server::TakeRequests", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    // What a removed token asked for is not done, however long ago it was asked.
    RefreshTokens();
    std::vector<Request> requests;
    const auto isEnough = [&]
    {
        return requests.size() >= k_requests_per_turn ||
               std::ranges::count(requests, true, &Request::asksForMuch) >= long(k_MuchPerTurn);
    };
    while (!m_ready.empty() && !isEnough())
    {
        const ClientNumber number = m_ready.front();
        m_ready.pop_front();
        const auto found = m_clients.find(number);
        if (found == m_clients.end())
            continue;
        found->second->isReady = false;
        TakeFrom(*found->second, requests);
        m_taken.push_back(number);
    }
    if (!m_ready.empty())
        m_user.OnRequests();
    return requests;
}

void Server::TakeFrom(Client &client, std::vector<Request> &requests)
{
    _CallEntry call("Server::TakeFrom", __FILE__, __LINE__);

    for (const wire::Envelope &envelope : client.session->TakeIncoming())
    {
        if (client.isExpelled)
            continue;
        if (!client.isWelcome)
        {
            Welcome(client, envelope);
            continue;
        }
        Request request;
        request.client = client.number;
        request.who = client.who;
        request.serial = envelope.serial();
        request.asksForMuch = AsksForMuch(envelope);
        if (envelope.has_hello())
            request.reason = "the client is known already";
        else
            request.message = corvan::MessageFactory::FromEnvelope(envelope, &request.reason);
        if (request.message)
            request.message->serial = envelope.serial();
        request.what = request.message ? request.message->TypeName() : BodyName(envelope);
        // A reader's reason begins with it; users would read it twice.
        if (request.reason.starts_with(request.what + ": "))
            request.reason.erase(0, request.what.size() + 2);
        requests.push_back(std::move(request));
    }
}

void Server::Welcome(Client &client, const wire::Envelope &envelope)
{
    _CallEntry call("Server::Welcome", __FILE__, __LINE__);

    if (const grpc::Status status = CheckHello(envelope, m_settings.leastProtocol); !status.ok())
    {
        ostrel::LogWarning("client " + std::to_string(client.number) +
                           " was turned away: " + status.error_message());
        client.session->End(status);
        return;
    }

    client.isWelcome = true;
    client.helloTimer.cancel();
    const wire::Hello &hello = envelope.hello();
    const String name = "client " + std::to_string(client.number);
    ostrel::LogInfo(name + " is " + ClientName(hello) + " of " + client.who->user + " (" +
                    RoleName(client.who->role) + ") from " + client.who->peer);
    if (const String difference = DescribeProtocol(hello); !difference.empty())
        ostrel::LogStatus(name + ", " + ClientName(hello) + ": " + difference);
    client.session->Send(std::make_shared<const Packed>(MakeWelcome(envelope, m_masterID, *client.who)),
                         Session::Haste::AtOnce);
    if (corvan::ProtocolOf(hello.protocol()) >= corvan::k_GatheringProtocol)
        client.session->BeginToGather();
}

void Server::EndRequests()
{
    _CallEntry call("Server::EndRequests", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    for (const ClientNumber number : m_taken)
    {
        const auto found = m_clients.find(number);
        if (found == m_clients.end())
            continue;
        found->second->session->EndIfClosed();
        if (found->second->session->HasIncoming())
            ScheduleReady(*found->second);
    }
    m_taken.clear();
}

void Server::Send(const Outgoing &outgoing, std::span<const ClientNumber> to)
{
    _CallEntry call("Server::Send", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    if (to.empty())
        return;
    wire::Envelope envelope;
    outgoing.message->Write(envelope);
    envelope.set_answers(outgoing.answers);
    const auto packed = std::make_shared<const Packed>(envelope);
    const auto haste = outgoing.client != 0 ? Session::Haste::AtOnce : Session::Haste::InTurn;
    for (const ClientNumber number : to)
    {
        const auto found = m_clients.find(number);
        if (found == m_clients.end())
            continue;
        if (!found->second->session->Send(packed, haste))
            CutOff(*found->second, "it leaves too much unread");
    }
}

void Server::CutOff(Client &client, const String &reason)
{
    _CallEntry call("Server::CutOff", __FILE__, __LINE__);

    ostrel::LogWarning("client " + std::to_string(client.number) + " is cut off: " + reason);
    client.session->CutOff();
}

std::size_t Server::CountClients() const
{
    _CallEntry call("Server::CountClients", __FILE__, __LINE__);

    std::size_t count = 0;
    for (const auto &[number, client] : m_clients)
        count += client->isWelcome ? 1 : 0;
    return count;
}

} // namespace master
