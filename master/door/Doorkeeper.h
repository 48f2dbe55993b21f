#pragma once

#include <grpcpp/server_context.h>
#include <memory>
#include <mutex>
#include <vector>

#include "master/door/Peer.h"
#include "master/door/ServerSettings.h"
#include "master/door/Tokens.h"
#include "master/door/WrongTokens.h"

namespace master
{

/// Decides who may come in, before anything is kept for a client: by the token that the call
/// brings, or on a socket file by the user that the system names. Any thread.
class Doorkeeper
{
public:
    /// Throws `ostrel::Exception *` where there is no token that could open a door of TCP, and
    /// where the tokens cannot be read.
    explicit Doorkeeper(const ServerSettings &settings);

    struct Verdict
    {
        std::shared_ptr<const Identity> who; ///< Null for one who may not come in.
        grpc::Status refusal;
        std::chrono::milliseconds pause{0}; ///< Before the refusal is told.
    };
    Verdict Admit(const grpc::CallbackServerContext &call);

    /// Reads the tokens anew where their file has changed; costs one look at it where it has not.
    /// True where they have. Tokens that cannot be read leave all as it is, with an error line.
    bool Refresh();

    /// Why somebody who has come in may not stay; empty where he may.
    String CheckStill(const Identity &who) const;

private:
    struct FileVersion
    {
        ino_t inode = 0;
        std::int64_t modified = 0;
        off_t size = -1;

        friend bool operator==(const FileVersion &, const FileVersion &) = default;
    };

    Verdict AdmitUser(const Peer &peer) const;
    Verdict AdmitToken(const Peer &peer, const std::optional<String> &token);
    FileVersion LookAtFile() const;
    std::vector<TokenRecord> ReadTokens() const;

    const bool m_isSocket;
    const std::optional<Role> m_socketRole;
    const Path m_file;
    const String m_sharedToken;

    mutable std::mutex m_mutex; // Guards all below.
    FileVersion m_version;
    std::vector<TokenRecord> m_tokens;
    WrongTokens m_wrongTokens;
};

} // namespace master
