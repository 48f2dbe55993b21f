#pragma once

#include <optional>
#include <string>
#include <sys/socket.h>
#include <sys/types.h>

#include "ostrel/String.h"

namespace master
{

using ostrel::String;

/// Who is at the other end of a connection, as far as the system knows.
struct Peer
{
    String text; ///< For people: "192.0.2.7", "uid 1000".
    String key;  ///< What limits count by: the user, the address, of IPv6 its first 64 bits.
    std::optional<uid_t> user; ///< On a socket file: who connected, the system's word.

    /// The user that this program runs as.
    bool IsOwn() const;
};

/// Of an open, connected socket. One of which nothing can be told has the key "unknown".
Peer PeerOf(int socket);

/// Of a call, by what gRPC says of it: "fd:7" for a connection that was handed over by its
/// descriptor, which stays open as long as the call lives; "ipv4:192.0.2.7:1234",
/// "ipv6:%5B2001:db8::1%5D:1234".
Peer PeerOfCall(const std::string &text);

/// The name of a user of this machine; its number where it has none. May ask a server for it.
String UserName(uid_t user);

} // namespace master
