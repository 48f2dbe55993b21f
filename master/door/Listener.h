#pragma once

#include <grpcpp/server.h>
#include <memory>

#include "master/door/Acceptor.h"
#include "master/door/Certificates.h"
#include "master/door/ServerSettings.h"
#include "master/door/SocketFile.h"

namespace grpc
{
class Service;
namespace experimental
{
class ExternalConnectionAcceptor;
}
} // namespace grpc

namespace master
{

/// The same settings; throws `ostrel::Exception *` for those of TCP without certificate or key.
ServerSettings RequireTls(ServerSettings settings);

/// gRPC's server, and the acceptor that hands it its connections: over TCP with TLS, which is not
/// to be had without, and bare on a socket file. Its maker's thread.
class Listener
{
public:
    /// Listens from now on, and has the service called. `RequireTls` holds for the settings. Throws
    /// `ostrel::Exception *` where it cannot.
    Listener(const ServerSettings &settings, grpc::Service &service);
    /// Ends all connections.
    ~Listener();

    /// Where it listens; the port is the one that the system chose where port 0 was asked for.
    const String &Address() const
    {
        return m_address;
    }

    /// Takes a renewed certificate, for who connects from now on. Throws `ostrel::Exception *`
    /// where it cannot be used, and the old one goes on.
    void RenewCertificate();

private:
    void Build(grpc::Service &service);
    void Accept();

    const ServerSettings m_settings;
    String m_address;
    std::unique_ptr<SocketFile> m_socketFile;
    std::shared_ptr<Certificates> m_certificates; // Shared with gRPC's server.
    std::unique_ptr<grpc::experimental::ExternalConnectionAcceptor> m_handOver; // With TLS.
    std::unique_ptr<grpc::Service> m_health;
    std::unique_ptr<grpc::Server> m_server;
    std::unique_ptr<Acceptor> m_acceptor;
};

} // namespace master
