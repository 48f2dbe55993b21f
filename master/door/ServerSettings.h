#pragma once

#include <chrono>
#include <cstddef>
#include <optional>

#include "corvan/MasterAddress.h"
#include "corvan/Protocol.h"
#include "master/door/Acceptor.h"
#include "master/door/Health.h"
#include "master/door/Identity.h"
#include "ostrel/Path.h"

namespace master
{

using corvan::MasterAddress;
using corvan::TcpSecurity;

/// What one client may take of the Master.
struct ClientLimits
{
    /// What waits to be written to a client; one that does not read, and for which more news than
    /// that gathers, is cut off.
    std::size_t outMessages = 100'000;
    std::size_t outBytes = 64u << 20;

    /// What was read from a client and not yet handled; no more is read before it is.
    std::size_t inMessages = 64;
    std::size_t inBytes = 1u << 20;

    /// While more than this waits to be written to a client, its own requests wait.
    std::size_t outPauseBytes = 1u << 20;
    std::size_t outPauseMessages = 1000;
};

/// How the Master listens.
struct ServerSettings
{
    MasterAddress address;
    /// Certificate and key are needed for TCP, unused for a socket file. Its token is one of a user
    /// "shared" who may edit all jobs.
    std::optional<TcpSecurity> security;
    /// The tokens that open the door over TCP; read anew where it changes. None where it is empty.
    ostrel::Path tokensFile;
    /// Of this machine's other users on the socket file; without one it is open to nobody else.
    std::optional<Role> socketRole;

    std::size_t maxClients = 8192;
    /// Of one peer; the Master's own user has no limit but the one above.
    std::size_t maxClientsOfPeer = 2048;
    /// Of `maxClients` these are kept for administrators.
    std::size_t keptForAdmins = 8;
    ConnectionLimits connections;
    /// A client that speaks an older protocol is turned away.
    unsigned leastProtocol = corvan::k_LeastProtocol;
    /// A client that has not said Hello by then is cut off.
    std::chrono::milliseconds helloWithin{10'000};
    ClientLimits limits;
    /// From one client that is told news to the next. What there is to tell meanwhile goes to each
    /// in one message.
    std::chrono::microseconds pace{60};

    /// What gRPC's health service tells of, and outlives the server; null for no such service.
    const Health *health = nullptr;
};

} // namespace master
