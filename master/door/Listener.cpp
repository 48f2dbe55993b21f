#include "master/door/Listener.h"

#include <algorithm>
#include <grpcpp/grpcpp.h>
#include <grpcpp/resource_quota.h>
#include <grpcpp/server_posix.h>

#include "corvan/Keepalive.h"
#include "corvan/Limits.h"
#include "master/door/HealthService.h"
#include "master/door/ListeningSockets.h"
#include "ostrel/CallEntry.h"
#include "ostrel/DescriptorLimit.h"
#include "ostrel/Exception.h"

namespace master
{

using ostrel::_CallEntry;
using ostrel::Exception;

namespace
{

constexpr std::size_t k_grpc_memory_bytes = 1u << 30;
// A program has one stream, and a second one while it comes back.
constexpr int k_streams_of_connection = 4;
constexpr int k_most_metadata_bytes = 16 << 10;
// For the store, the logs of the tasks, the pipes of their commands.
constexpr std::size_t k_kept_descriptors = 512;

void SetLimits(grpc::ServerBuilder &builder, const ConnectionLimits &limits)
{
    builder.SetMaxReceiveMessageSize(int(corvan::k_MaxMessageBytes));
    builder.SetResourceQuota(grpc::ResourceQuota("clients").Resize(k_grpc_memory_bytes));
    builder.AddChannelArgument(GRPC_ARG_KEEPALIVE_TIME_MS, corvan::k_KeepaliveMs);
    builder.AddChannelArgument(GRPC_ARG_KEEPALIVE_TIMEOUT_MS, corvan::k_KeepaliveTimeoutMs);
    builder.AddChannelArgument(GRPC_ARG_KEEPALIVE_PERMIT_WITHOUT_CALLS, 1);
    builder.AddChannelArgument(GRPC_ARG_HTTP2_MIN_RECV_PING_INTERVAL_WITHOUT_DATA_MS,
                               corvan::k_LeastPingIntervalMs);
    builder.AddChannelArgument(GRPC_ARG_SERVER_HANDSHAKE_TIMEOUT_MS,
                               int(limits.speakWithin.count()));
    builder.AddChannelArgument(GRPC_ARG_MAX_CONCURRENT_STREAMS, k_streams_of_connection);
    builder.AddChannelArgument(GRPC_ARG_MAX_CONNECTION_IDLE_MS, int(limits.closeIdleAfter.count()));
    builder.AddChannelArgument(GRPC_ARG_MAX_METADATA_SIZE, k_most_metadata_bytes);
}

// What the system lets the Master have sets a limit to the connections, which are the one thing
// that others have it open.
ConnectionLimits FitToDescriptors(ConnectionLimits limits, std::size_t descriptors)
{
    const std::size_t kept = std::min(k_kept_descriptors, descriptors / 2);
    limits.mostSilent = std::min(limits.mostSilent, (descriptors - kept) / 4);
    limits.mostSilentOfPeer = std::min(limits.mostSilentOfPeer, limits.mostSilent);
    limits.most = std::min(limits.most, descriptors - kept - limits.mostSilent);
    return limits;
}

} // namespace

ServerSettings RequireTls(ServerSettings settings)
{
    const auto &security = settings.security;
    if (settings.address.kind == MasterAddress::Kind::Tcp &&
        (!security || security->certificate.IsEmpty() || security->key.IsEmpty()))
        throw new Exception("cannot listen at " + settings.address.text +
                            " without \"Certificate\" and \"Key\" in section \"Master\" of the "
                            "options file");
    return settings;
}

Listener::Listener(const ServerSettings &settings, grpc::Service &service)
    : m_settings(settings), m_address(settings.address.text)
{
    _CallEntry call("Listener::Listener", __FILE__, __LINE__);

    if (m_settings.address.kind == MasterAddress::Kind::Socket)
        m_socketFile = std::make_unique<SocketFile>(m_settings.address.socketFile);
    else
        m_certificates =
            Certificates::Load(m_settings.security->certificate, m_settings.security->key);
    Build(service);
    Accept();
}

Listener::~Listener()
{
    _CallEntry call("Listener::~Listener", __FILE__, __LINE__);

    m_acceptor.reset();
    if (m_server)
        m_server->Shutdown(std::chrono::system_clock::now());
}

void Listener::Build(grpc::Service &service)
{
    _CallEntry call("Listener::Build", __FILE__, __LINE__);

    grpc::ServerBuilder builder;
    builder.RegisterService(&service);
    if (m_settings.health)
    {
        m_health = std::make_unique<HealthService>(*m_settings.health);
        builder.RegisterService(m_health.get());
    }
    SetLimits(builder, m_settings.connections);
    if (m_certificates)
    {
        using Experimental = grpc::ServerBuilder::experimental_type;
        m_handOver = builder.experimental().AddExternalConnectionAcceptor(
            Experimental::ExternalConnectionType::FROM_FD, m_certificates->Credentials());
    }
    m_server = builder.BuildAndStart();
    if (!m_server)
        throw new Exception("cannot listen at " + m_address + ": gRPC does not start");
}

void Listener::Accept()
{
    _CallEntry call("Listener::Accept", __FILE__, __LINE__);

    ListeningSockets sockets = ListenAt(m_settings.address);
    if (m_certificates)
        m_address = m_address.substr(0, m_address.rfind(':') + 1) + std::to_string(sockets.port);
    if (m_socketFile)
        m_socketFile->OpenTo(m_settings.socketRole ? SocketFile::Others::Everybody
                                                   : SocketFile::Others::Nobody);

    const auto take = [this](int socket)
    {
        if (!m_handOver)
            return grpc::AddInsecureChannelFromFd(m_server.get(), socket);
        grpc::experimental::ExternalConnectionAcceptor::NewConnectionParameters connection;
        connection.fd = socket;
        m_handOver->HandleNewConnection(&connection);
    };
    m_acceptor = std::make_unique<Acceptor>(
        std::move(sockets.descriptors),
        FitToDescriptors(m_settings.connections, ostrel::DescriptorLimit()), take);
}

void Listener::RenewCertificate()
{
    _CallEntry call("Listener::RenewCertificate", __FILE__, __LINE__);

    if (m_certificates)
        m_certificates->Renew();
}

} // namespace master
