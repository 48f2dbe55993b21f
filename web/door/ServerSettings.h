#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ostrel/Path.h"

namespace web
{

using ostrel::Path;
using ostrel::String;

/// What one connection, one peer and all of them may take of the server.
struct ServerLimits
{
    /// Beyond these the one goes that has been idle, or has left a request half said, for longest;
    /// where there is none, nobody else comes in.
    std::size_t connections = 4096;
    std::size_t connectionsOfPeer = 1024;
    std::size_t streams = 2048;
    std::size_t streamsOfSession = 512;
    std::size_t sessions =
        1000; ///< Beyond these the one that nobody has used for longest is ended.
    /// Tokens whose owner the gatekeeper is asked for at a time.
    std::size_t questions = 64;
    std::size_t questionsOfPeer = 8;

    std::uint32_t headerBytes = 16u << 10;
    std::size_t targetBytes = 4096;
    std::size_t bodyBytes = 1u << 20;
    std::size_t openBodyBytes = 4096; ///< Of who has proved nothing yet.
    /// What waits for a page that is told events, beyond which it is told "anew".
    std::size_t streamBytes = 1u << 20;
    std::size_t streamEvents = 256;

    std::chrono::milliseconds requestWithin{10'000}; ///< TLS, and from the first byte of a header.
    std::chrono::milliseconds idleFor{60'000};       ///< Between two requests of a connection.
    std::chrono::milliseconds bodyWithin{30'000};
    std::chrono::milliseconds answerWithin{120'000}; ///< What a handler has for it; then 504.
    /// In which the peer must take some of what is written to it.
    std::chrono::milliseconds takeWithin{30'000};
    std::chrono::milliseconds commentEvery{15'000}; ///< On a stream where nothing else happens.
    std::chrono::milliseconds sessionIdleFor{12 * 3'600'000};
};

/// Files that anybody may read, since they hold nothing of anybody. They are read when the server
/// begins, with the folders within.
struct PublicFiles
{
    std::string at;       ///< "/" or "/lib/", or "/icon.svg" for one file; "/" is index.html, too.
    Path source;          ///< A folder, or that file.
    bool isNeeded = true; ///< Where it is missing the server does not begin.
};

/// PEM files; read anew where they change.
struct TlsPair
{
    Path certificate;
    Path key;
};

struct ServerSettings
{
    String host = "127.0.0.1";  ///< A name or address of this machine; "[::1]" or "::1".
    std::uint16_t port = 0;     ///< 0 for one that the system chooses.
    std::optional<TlsPair> tls; ///< Needed beyond loopback.
    /// Names and addresses by which browsers get here, without port, beside `host`; on loopback
    /// "localhost", too. All else answers 421.
    std::vector<String> names{};
    /// Of scripts, on a personal server, which serves one user alone; empty for a studio's, where
    /// the gatekeeper says whose a token is.
    String personalToken;
    std::vector<PublicFiles> files{};
    ServerLimits limits{};
};

} // namespace web
