#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <optional>
#include <sys/types.h>

namespace web
{

/// Both ends of a connection over loopback, as the one who has accepted it sees them.
struct ConnectionEnds
{
    boost::asio::ip::tcp::endpoint peer;
    boost::asio::ip::tcp::endpoint own;
};

/// What the system says of the socket at the other end.
struct PeerSocket
{
    bool isAsked = false;        ///< Whether it could be asked.
    std::optional<uid_t> user{}; ///< Who has made it; nothing where nobody has it open any more.
};

/// The two ways to ask. A socket that its process has closed lives on without an owner, and older
/// systems tell root's number for it: such a one is nobody's here.
PeerSocket AskNetlinkForPeer(const ConnectionEnds &ends);
PeerSocket ReadProcForPeer(const ConnectionEnds &ends);

/// The user of this machine who has made the connection that was accepted here; nothing where that
/// cannot be told, since he is not of this machine, or has gone already.
std::optional<uid_t> FindPeerUser(boost::asio::ip::tcp::socket &accepted);

} // namespace web
