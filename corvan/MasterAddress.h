#pragma once

#include <optional>

#include "ostrel/Path.h"

namespace corvan
{

using ostrel::String;

class CorvanApp;

/// Where a Master listens.
///
/// "unix:/path/to.sock", a socket file open to its user alone, or "HOST:PORT", TCP with TLS and a
/// token, both required.
struct MasterAddress
{
    enum class Kind
    {
        Socket,
        Tcp,
    };

    Kind kind = Kind::Socket;
    String text; ///< As gRPC takes it.

    /// A bare absolute path is a socket file too. Nothing, with the reason, for text that is no
    /// address or a socket path that is too long for the system (107 bytes).
    static std::optional<MasterAddress> Parse(const String &text, String *reason);

    /// The personal Master's socket file in the user's runtime folder.
    static MasterAddress Default();
};

/// What TCP needs besides the address; from the options section "Master": "Certificate" (PEM of the
/// Master's certificate or its authority), "Key" (the Master's own, Master only), "TokenFile".
struct TcpSecurity
{
    ostrel::Path certificate;
    ostrel::Path key;
    String token;
};

} // namespace corvan
