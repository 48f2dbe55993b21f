#pragma once

#include <chrono>
#include <memory>

#include "corvan/Keepalive.h"
#include "corvan/Link.h"
#include "corvan/MasterAddress.h"
#include "corvan/Protocol.h"

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

/// How long a link waits for what.
struct LinkTiming
{
    using Milliseconds = std::chrono::milliseconds;

    Milliseconds greeting{10'000}; ///< For connection and Welcome together.
    Milliseconds firstPause{500};  ///< Before the second attempt; the first comes at once.
    Milliseconds longestPause{30'000};
    Milliseconds settled{5'000}; ///< A connection that lived so long is tried again at once.
    Milliseconds keepalive{k_KeepaliveMs};
    Milliseconds keepaliveTimeout{k_KeepaliveTimeoutMs};
};

/// A connection over gRPC that comes back by itself: at once, then after 0.5 s doubling to 30 s,
/// each shortened by up to a fifth at random. A dead peer is found within 20 s. A Master that
/// refuses the greeting, or whose certificate does not fit, is told as one that turns away, and
/// tried again. One of another protocol gets a warning line that says what differs.
///
/// What the Master sends and is no message that can be is refused with an error line and goes no
/// further; the connection stays. A message above `k_MaxMessageBytes` is not sent, with an error
/// line. A Master that reads nothing until 64 MB wait for it is left, and tried again.
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
        LinkTiming timing;
        /// A Master of an older protocol is left, and told as one that turns away.
        unsigned leastProtocol = k_LeastProtocol;
    };

    /// Throws `ostrel::Exception *` for an address of TCP without certificate or token.
    explicit GrpcLink(Settings settings);
    ~GrpcLink() override;

    void Start(Callbacks callbacks) override;
    void Send(const boost::shared_ptr<Message> &message) override;
    /// Takes no longer than a running `nobodyThere`.
    void Stop() override;

private:
    class Worker;
    std::unique_ptr<Worker> m_worker;
};

} // namespace corvan
