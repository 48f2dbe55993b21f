#include "master/door/Doorkeeper.h"

#include <algorithm>
#include <sys/stat.h>

#include "corvan/Protocol.h"
#include "ostrel/Attempt.h"
#include "ostrel/CallEntry.h"
#include "ostrel/Exception.h"
#include "ostrel/Log.h"
#include "ostrel/Time.h"

namespace master
{

using ostrel::_CallEntry;
using ostrel::Exception;

namespace
{

const char *const k_shared_token = "shared";

Doorkeeper::Verdict Refused(grpc::StatusCode code, const String &reason,
                            std::chrono::milliseconds pause = std::chrono::milliseconds(0))
{
    return {nullptr, grpc::Status(code, reason), pause};
}

std::optional<String> TokenOf(const grpc::CallbackServerContext &call)
{
    const auto &metadata = call.client_metadata();
    const auto found = metadata.find(corvan::k_TokenMetadata);
    if (found == metadata.end())
        return std::nullopt;
    return String(found->second.data(), found->second.size());
}

} // namespace

Doorkeeper::Doorkeeper(const ServerSettings &settings)
    : m_isSocket(settings.address.kind == MasterAddress::Kind::Socket),
      m_socketRole(settings.socketRole), m_file(settings.tokensFile),
      m_sharedToken(settings.security ? settings.security->token : String())
{
    _CallEntry call("Doorkeeper::Doorkeeper", __FILE__, __LINE__);

    if (m_isSocket)
        return;
    m_version = LookAtFile();
    m_tokens = ReadTokens();
    if (m_tokens.empty())
        throw new Exception("cannot listen at " + settings.address.text +
                            " without a token; make one with \"corvan-master token add\"");
}

Doorkeeper::Verdict Doorkeeper::Admit(const grpc::CallbackServerContext &call)
{
    _CallEntry entry("Doorkeeper::Admit", __FILE__, __LINE__);

    const Peer peer = PeerOfCall(call.peer());
    return m_isSocket ? AdmitUser(peer) : AdmitToken(peer, TokenOf(call));
}

Doorkeeper::Verdict Doorkeeper::AdmitUser(const Peer &peer) const
{
    _CallEntry call("Doorkeeper::AdmitUser", __FILE__, __LINE__);

    if (!peer.user)
        return Refused(grpc::StatusCode::UNAUTHENTICATED, "the system does not tell who you are");

    Identity who;
    who.user = UserName(*peer.user);
    who.peer = "this machine";
    who.peerKey = peer.key;
    who.isMastersOwn = peer.IsOwn();
    // Root could be anybody.
    if (peer.IsOwn() || *peer.user == 0)
        who.role = Role::Admin;
    else if (m_socketRole)
        who.role = *m_socketRole;
    else
        return Refused(grpc::StatusCode::PERMISSION_DENIED,
                       "user " + who.user +
                           " has no role here; key SocketRole of the Master's "
                           "options gives one");
    return {std::make_shared<const Identity>(std::move(who)), {}, {}};
}

Doorkeeper::Verdict Doorkeeper::AdmitToken(const Peer &peer, const std::optional<String> &token)
{
    _CallEntry call("Doorkeeper::AdmitToken", __FILE__, __LINE__);

    if (!token)
        return Refused(grpc::StatusCode::UNAUTHENTICATED,
                       "the call brings no token: it needs one (key TokenFile of the options "
                       "section \"Master\"), and a client of protocol 2 or newer");

    const std::lock_guard lock(m_mutex);
    const TokenRecord *record = FindToken(m_tokens, *token);
    if (!record)
    {
        const auto [pause, isToTell] = m_wrongTokens.Note(peer.key, WrongTokens::Clock::now());
        // A flood of them fills no log.
        if (isToTell)
            ostrel::LogWarning("a client from " + peer.text +
                               " was turned away: the token is not the Master's");
        return Refused(grpc::StatusCode::UNAUTHENTICATED, "the token is not the Master's", pause);
    }

    Identity who;
    who.user = record->user;
    who.role = record->role;
    who.token = record->id;
    who.peer = peer.text;
    who.peerKey = peer.key;
    return {std::make_shared<const Identity>(std::move(who)), {}, {}};
}

bool Doorkeeper::Refresh()
{
    _CallEntry call("Doorkeeper::Refresh", __FILE__, __LINE__);

    if (m_isSocket || m_file.IsEmpty())
        return false;
    const FileVersion version = LookAtFile();
    const std::lock_guard lock(m_mutex);
    if (version == m_version)
        return false;
    m_version = version;
    const auto reason = ostrel::Attempt([&] { m_tokens = ReadTokens(); });
    if (reason)
        ostrel::LogError(*reason + "; the tokens from before go on");
    else
        ostrel::LogStatus("there are " + std::to_string(m_tokens.size()) + " tokens");
    return !reason;
}

String Doorkeeper::CheckStill(const Identity &who) const
{
    _CallEntry call("Doorkeeper::CheckStill", __FILE__, __LINE__);

    if (who.token.empty())
        return {};
    const std::lock_guard lock(m_mutex);
    const auto record = std::ranges::find(m_tokens, who.token, &TokenRecord::id);
    if (record == m_tokens.end())
        return "the token was removed";
    if (record->role != who.role || record->user != who.user)
        return "the token is another user's or has another role";
    return {};
}

Doorkeeper::FileVersion Doorkeeper::LookAtFile() const
{
    _CallEntry call("Doorkeeper::LookAtFile", __FILE__, __LINE__);

    struct stat status
    {
    };
    if (m_file.IsEmpty() || ::stat(m_file.Text().c_str(), &status) != 0)
        return {};
    return {status.st_ino, ostrel::Time(status.st_mtim).First(), status.st_size};
}

std::vector<TokenRecord> Doorkeeper::ReadTokens() const
{
    _CallEntry call("Doorkeeper::ReadTokens", __FILE__, __LINE__);

    std::vector<TokenRecord> tokens;
    if (!m_file.IsEmpty())
        tokens = LoadTokens(m_file);
    if (!m_sharedToken.empty())
        tokens.push_back(
            {k_shared_token, k_shared_token, Role::EditAll, HashOf(m_sharedToken), {}});
    return tokens;
}

} // namespace master
