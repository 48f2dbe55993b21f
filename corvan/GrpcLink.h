#pragma once

#include <memory>

#include "corvan/Link.h"
#include "corvan/MasterAddress.h"

namespace corvan
{

/// Who is calling, as the Master is told.
struct ClientIdentity
{
    UID id;
    int kind = 0;
    String program;
    String version;
};

/// A connection over gRPC that comes back by itself: at once, then after 0.5 s doubling to 30 s,
/// with jitter. A dead peer is found within 20 s.
class GrpcLink : public Link
{
public:
    struct Settings
    {
        MasterAddress address;
        TcpSecurity security;
        ClientIdentity identity;
        /// Called on the link's thread when nobody answers at the address, before it waits: starts
        /// a personal Master, say. May be empty.
        std::function<void()> nobodyThere;
    };

    explicit GrpcLink(Settings settings);
    ~GrpcLink() override;

    void Start(Callbacks callbacks) override;
    void Send(const boost::shared_ptr<Message> &message) override;
    void Stop() override;

private:
    class Worker;
    std::unique_ptr<Worker> m_worker;
};

} // namespace corvan
