#include "master/door/Server.h"

#include <algorithm>
#include <boost/asio/post.hpp>
#include <cassert>
#include <grpcpp/resource_quota.h>

#include "corvan/CorvanApp.h"
#include "corvan/Keepalive.h"
#include "corvan/Limits.h"
#include "corvan/MessageFactory.h"
#include "master/door/HealthService.h"
#include "ostrel/CallEntry.h"
#include "ostrel/Exception.h"
#include "ostrel/File.h"
#include "ostrel/Log.h"

namespace master
{

using ostrel::_CallEntry;
using ostrel::Exception;

namespace
{

constexpr std::size_t k_requests_per_turn = 256;
constexpr std::size_t k_grpc_memory_bytes = 1u << 30;

std::shared_ptr<const grpc::ByteBuffer> Packed(const wire::Envelope &envelope)
{
    auto buffer = std::make_shared<grpc::ByteBuffer>();
    bool ownsBuffer = false;
    grpc::SerializationTraits<wire::Envelope>::Serialize(envelope, buffer.get(), &ownsBuffer);
    return buffer;
}

// Takes the same time wherever the two differ.
bool IsSameSecret(const std::string &given, const std::string &expected)
{
    volatile unsigned char differences = given.size() == expected.size() ? 0 : 1;
    for (std::size_t i = 0; i < given.size(); ++i)
    {
        const char other = expected.empty() ? '\0' : expected[i % expected.size()];
        differences = static_cast<unsigned char>(differences | (given[i] ^ other));
    }
    return differences == 0;
}

// "job_parameter" of a message that could not be read.
String BodyName(const wire::Envelope &envelope)
{
    const auto *field = wire::Envelope::descriptor()->FindFieldByNumber(envelope.body_case());
    return field ? String(field->message_type()->name()) : String("message");
}

} // namespace

/// Gives gRPC a session for each client that comes.
class Server::Service : public wire::Master::WithRawCallbackMethod_Connect<wire::Master::Service>
{
public:
    explicit Service(Server &server) : m_server(server), m_owner(server) {}

    grpc::ServerBidiReactor<grpc::ByteBuffer, grpc::ByteBuffer> *
    Connect(grpc::CallbackServerContext *context) override
    {
        const auto session =
            std::make_shared<Session>(m_owner, *context, m_server.m_settings.limits);
        boost::asio::post(m_server.m_loop, [this, session] { m_server.OnArrived(session); });
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
           std::shared_ptr<Session> clientSession)
        : number(clientNumber), session(std::move(clientSession)), helloTimer(loop)
    {
    }

    ClientNumber number;
    std::shared_ptr<Session> session;
    boost::asio::steady_timer helloTimer;
    bool isWelcome = false;
    bool isReady = false;
};

Server::Server(boost::asio::io_context &loop, ServerSettings settings, const UID &masterID,
               User &user)
    : m_loop(loop), m_settings(std::move(settings)), m_masterID(masterID), m_user(user),
      m_service(std::make_unique<Service>(*this))
{
    _CallEntry call("Server::Server", __FILE__, __LINE__);

    if (m_settings.address.kind == MasterAddress::Kind::Socket)
        m_socketFile = std::make_unique<SocketFile>(m_settings.address.socketFile);
    Listen();
    if (m_socketFile)
        m_socketFile->Restrict();
}

Server::~Server()
{
    _CallEntry call("Server::~Server", __FILE__, __LINE__);

    if (m_server)
        m_server->Shutdown(std::chrono::system_clock::now());
}

void Server::Listen()
{
    _CallEntry call("Server::Listen", __FILE__, __LINE__);

    grpc::ServerBuilder builder;
    int port = 0;
    builder.AddListeningPort(m_settings.address.Target(), Credentials(), &port);
    builder.RegisterService(m_service.get());
    if (m_settings.health)
    {
        m_health = std::make_unique<HealthService>(*m_settings.health);
        builder.RegisterService(m_health.get());
    }
    builder.SetMaxReceiveMessageSize(int(corvan::k_MaxMessageBytes));
    builder.SetResourceQuota(grpc::ResourceQuota("clients").Resize(k_grpc_memory_bytes));
    // A second Master at the same port is refused, and does not share it.
    builder.AddChannelArgument(GRPC_ARG_ALLOW_REUSEPORT, 0);
    builder.AddChannelArgument(GRPC_ARG_KEEPALIVE_TIME_MS, corvan::k_KeepaliveMs);
    builder.AddChannelArgument(GRPC_ARG_KEEPALIVE_TIMEOUT_MS, corvan::k_KeepaliveTimeoutMs);
    builder.AddChannelArgument(GRPC_ARG_KEEPALIVE_PERMIT_WITHOUT_CALLS, 1);
    builder.AddChannelArgument(GRPC_ARG_HTTP2_MIN_RECV_PING_INTERVAL_WITHOUT_DATA_MS,
                               corvan::k_LeastPingIntervalMs);
    {
        const PrivateFiles privateFiles;
        m_server = builder.BuildAndStart();
    }
    if (!m_server || port == 0)
        throw new Exception("cannot listen at " + m_settings.address.text +
                            ": the address is in use or not of this machine");

    m_address = m_settings.address.text;
    if (m_settings.address.kind == MasterAddress::Kind::Tcp)
        m_address = m_address.substr(0, m_address.rfind(':') + 1) + std::to_string(port);
}

std::shared_ptr<grpc::ServerCredentials> Server::Credentials() const
{
    _CallEntry call("Server::Credentials", __FILE__, __LINE__);

    if (m_settings.address.kind == MasterAddress::Kind::Socket)
        return grpc::InsecureServerCredentials();

    const auto &security = m_settings.security;
    if (!security || security->certificate.IsEmpty() || security->key.IsEmpty() ||
        security->token.empty())
        throw new Exception("cannot listen at " + m_settings.address.text +
                            " without \"Certificate\", \"Key\" and \"TokenFile\" in section "
                            "\"Master\" of the options file");
    grpc::SslServerCredentialsOptions options;
    options.pem_key_cert_pairs.push_back({
        ostrel::File::ReadWhole(security->key),
        ostrel::File::ReadWhole(security->certificate),
    });
    return grpc::SslServerCredentials(options);
}

void Server::OnArrived(const std::shared_ptr<Session> &session)
{
    _CallEntry call("Server::OnArrived", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    if (m_clients.size() >= m_settings.maxClients)
    {
        ostrel::LogWarning("a client was turned away: there are " +
                           std::to_string(m_clients.size()) + " already");
        session->End({grpc::StatusCode::RESOURCE_EXHAUSTED, "the Master has too many clients"});
        return;
    }

    const ClientNumber number = ++m_lastClient;
    auto client = std::make_unique<Client>(m_loop, number, session);
    client->helloTimer.expires_after(m_settings.helloWithin);
    client->helloTimer.async_wait(
        [this, number](const boost::system::error_code &error)
        {
            const auto late = m_clients.find(number);
            if (error || late == m_clients.end() || late->second->isWelcome)
                return;
            ostrel::LogWarning("client " + std::to_string(number) + " did not say Hello");
            late->second->session->End(
                {grpc::StatusCode::DEADLINE_EXCEEDED, "no Hello within the time for it"});
        });
    m_bySession[session.get()] = client.get();
    m_clients[number] = std::move(client);
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
                          m_bySession.erase(found);
                          m_clients.erase(number);
                          m_user.OnClientGone(number);
                      });
}

std::vector<Server::Request> Server::TakeRequests()
{
    _CallEntry call("Server::TakeRequests", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
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
        if (!client.isWelcome)
        {
            Welcome(client, envelope);
            continue;
        }
        Request request;
        request.client = client.number;
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

    const String reason = CheckHello(envelope);
    if (!reason.empty())
    {
        ostrel::LogWarning("client " + std::to_string(client.number) +
                           " was turned away: " + reason);
        client.session->End({grpc::StatusCode::UNAUTHENTICATED, reason});
        return;
    }

    client.isWelcome = true;
    client.helloTimer.cancel();
    const wire::Hello &hello = envelope.hello();
    ostrel::LogInfo("client " + std::to_string(client.number) + " is " + hello.program() + " " +
                    hello.version());
    wire::Envelope answer;
    answer.set_answers(envelope.serial());
    answer.mutable_welcome()->set_master(m_masterID.ToString());
    answer.mutable_welcome()->set_version(corvan::CorvanApp::Version());
    client.session->Send(Packed(answer));
}

String Server::CheckHello(const wire::Envelope &envelope) const
{
    _CallEntry call("Server::CheckHello", __FILE__, __LINE__);

    if (!envelope.has_hello())
        return "the first message has to be Hello";
    const wire::Hello &hello = envelope.hello();
    if (UID(hello.client(), false).IsNil())
        return "the client has no identity";
    if (hello.program().size() > corvan::k_MaxNameBytes ||
        hello.version().size() > corvan::k_MaxNameBytes)
        return "the client's name is too long";
    if (m_settings.address.kind == MasterAddress::Kind::Tcp &&
        !IsSameSecret(hello.token(), m_settings.security->token))
        return "the token is not the Master's";
    return {};
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
    const auto packed = Packed(envelope);
    for (const ClientNumber number : to)
    {
        const auto found = m_clients.find(number);
        if (found == m_clients.end())
            continue;
        if (!found->second->session->Send(packed))
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
