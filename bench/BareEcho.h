#pragma once

#include <grpcpp/grpcpp.h>
#include <memory>
#include <string>

namespace bench
{

/// What the Master is measured against: a server of the same service that keeps nothing. It
/// welcomes everybody, accepts everything, and sends each change to all who asked to follow a job.
class BareEcho
{
public:
    /// Serves as long as it lives. `address` as gRPC takes it.
    explicit BareEcho(const std::string &address);
    ~BareEcho();

private:
    class Service;
    class Stream;
    struct Followers;

    std::unique_ptr<Service> m_service;
    std::unique_ptr<grpc::Server> m_server;
};

} // namespace bench
