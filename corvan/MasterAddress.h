#pragma once

#include <optional>

#include "ostrel/Path.h"

namespace ostrel
{
class IniFile;
}

namespace corvan
{

using ostrel::String;

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
    String text;             ///< As people write it, and as `Parse` reads it.
    ostrel::Path socketFile; ///< Empty for TCP.

    /// The same as gRPC takes it, which wants unusual characters of a path escaped.
    String Target() const;

    /// A bare absolute path is a socket file too; an IPv6 address stands in brackets. Nothing, with
    /// the reason, for text that is no address or a socket path that is too long for the system
    /// (107 bytes).
    static std::optional<MasterAddress> Parse(const String &text, String *reason);

    /// The personal Master's socket file in the user's runtime folder. Not checked as `Parse` does:
    /// it cannot be used where that folder's name is too long.
    static MasterAddress Default();

    friend bool operator==(const MasterAddress &a, const MasterAddress &b) = default;
};

/// What TCP needs besides the address; from the options section "Master": "Certificate" (PEM of the
/// Master's certificate or its authority), "Key" (the Master's own, Master only), "TokenFile".
struct TcpSecurity
{
    ostrel::Path certificate;
    ostrel::Path key;
    String token;

    /// Throws `ostrel::Exception *` where the token file cannot be read, is empty, or is open to
    /// others than its owner. The token is the file's first line.
    static TcpSecurity Load(const ostrel::IniFile &options);
};

} // namespace corvan
