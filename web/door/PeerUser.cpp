#include "web/door/PeerUser.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <netinet/tcp.h>
#include <sstream>
#include <sys/socket.h>
#include <unistd.h>

#include "ostrel/Descriptor.h"

namespace web
{

using boost::asio::ip::tcp;

namespace
{

struct DiagQuestion
{
    nlmsghdr head;
    inet_diag_req_v2 body;
};

// Of a socket that somebody has open, and that is one end of a connection.
bool IsHeld(unsigned state, std::uint64_t inode)
{
    const bool isConnection = state == TCP_ESTABLISHED || state == TCP_FIN_WAIT1 ||
                              state == TCP_FIN_WAIT2 || state == TCP_CLOSE_WAIT;
    return isConnection && inode != 0;
}

void SetAddress(__be32 (&to)[4], const boost::asio::ip::address &address)
{
    std::memset(to, 0, sizeof to);
    if (address.is_v4())
    {
        const auto bytes = address.to_v4().to_bytes();
        std::memcpy(to, bytes.data(), bytes.size());
    }
    else
    {
        const auto bytes = address.to_v6().to_bytes();
        std::memcpy(to, bytes.data(), bytes.size());
    }
}

DiagQuestion DiagQuestionFor(const ConnectionEnds &ends)
{
    DiagQuestion question{};
    question.head.nlmsg_len = sizeof question;
    question.head.nlmsg_type = SOCK_DIAG_BY_FAMILY;
    question.head.nlmsg_flags = NLM_F_REQUEST;
    inet_diag_req_v2 &body = question.body;
    body.sdiag_family = ends.peer.address().is_v4() ? AF_INET : AF_INET6;
    body.sdiag_protocol = IPPROTO_TCP;
    body.idiag_states = ~0u;
    // As the other end has it.
    body.id.idiag_sport = htons(ends.peer.port());
    body.id.idiag_dport = htons(ends.own.port());
    SetAddress(body.id.idiag_src, ends.peer.address());
    SetAddress(body.id.idiag_dst, ends.own.address());
    body.id.idiag_cookie[0] = body.id.idiag_cookie[1] = INET_DIAG_NOCOOKIE;
    return question;
}

// "0100007F:1F90", as the tables of /proc have it: each word in the byte order of the machine.
std::string ProcText(const tcp::endpoint &end, bool asV6)
{
    __be32 words[4];
    SetAddress(words, end.address());
    char text[64] = {};
    const auto put = [&](unsigned long word, const char *form)
    { std::snprintf(text + std::strlen(text), sizeof text - std::strlen(text), form, word); };
    if (end.address().is_v4() && asV6)
    {
        put(0, "%08lX");
        put(0, "%08lX");
        put(htonl(0xffff), "%08lX");
        put(words[0], "%08lX");
    }
    else
        for (int i = 0; i < (end.address().is_v4() ? 1 : 4); ++i)
            put(words[i], "%08lX");
    put(end.port(), ":%04lX");
    return text;
}

bool ReadTable(const char *path, const std::string &local, const std::string &remote,
               PeerSocket &found)
{
    std::ifstream table(path);
    if (!table)
        return false;
    std::string line;
    while (std::getline(table, line))
    {
        std::istringstream fields(line);
        std::string number, from, to, state, queues, timer, tries;
        unsigned long user = 0;
        unsigned long timeout = 0;
        std::uint64_t inode = 0;
        fields >> number >> from >> to;
        if (from != local || to != remote)
            continue;
        fields >> state >> queues >> timer >> tries >> user >> timeout >> inode;
        if (fields && IsHeld(unsigned(std::strtoul(state.c_str(), nullptr, 16)), inode))
            found.user = uid_t(user);
    }
    return true;
}

} // namespace

PeerSocket AskNetlinkForPeer(const ConnectionEnds &ends)
{
    const ostrel::Descriptor netlink(
        ::socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_SOCK_DIAG));
    const DiagQuestion question = DiagQuestionFor(ends);
    if (!netlink.IsOpen() ||
        ::send(netlink.Number(), &question, sizeof question, 0) != ssize_t(sizeof question))
        return {};

    // The answer is there once the question is sent.
    alignas(nlmsghdr) char answer[4096];
    const ssize_t size = ::recv(netlink.Number(), answer, sizeof answer, MSG_DONTWAIT);
    const auto *head = reinterpret_cast<const nlmsghdr *>(answer);
    if (size < ssize_t(sizeof *head) || !NLMSG_OK(head, unsigned(size)))
        return {};
    if (head->nlmsg_type == NLMSG_ERROR && head->nlmsg_len >= NLMSG_LENGTH(sizeof(nlmsgerr)))
        return {static_cast<const nlmsgerr *>(NLMSG_DATA(head))->error == -ENOENT};
    if (head->nlmsg_type != SOCK_DIAG_BY_FAMILY ||
        head->nlmsg_len < NLMSG_LENGTH(sizeof(inet_diag_msg)))
        return {};
    const auto &told = *static_cast<const inet_diag_msg *>(NLMSG_DATA(head));
    // Where there is no such connection the system tells of who listens at the port.
    const auto &asked = question.body.id;
    const bool isIt =
        told.id.idiag_sport == asked.idiag_sport && told.id.idiag_dport == asked.idiag_dport;
    if (isIt && IsHeld(told.idiag_state, told.idiag_inode))
        return {true, uid_t(told.idiag_uid)};
    return {true};
}

PeerSocket ReadProcForPeer(const ConnectionEnds &ends)
{
    PeerSocket found;
    const bool isV4 = ends.peer.address().is_v4();
    if (isV4)
        found.isAsked = ReadTable("/proc/net/tcp", ProcText(ends.peer, false),
                                  ProcText(ends.own, false), found);
    // A socket of IPv6 may speak IPv4, too.
    if (!found.user)
        found.isAsked |=
            ReadTable("/proc/net/tcp6", ProcText(ends.peer, true), ProcText(ends.own, true), found);
    return found;
}

std::optional<uid_t> FindPeerUser(tcp::socket &accepted)
{
    boost::system::error_code error;
    ConnectionEnds ends;
    ends.peer = accepted.remote_endpoint(error);
    if (!error)
        ends.own = accepted.local_endpoint(error);
    if (error || !ends.peer.address().is_loopback())
        return std::nullopt;
    PeerSocket peer = AskNetlinkForPeer(ends);
    if (!peer.isAsked)
        peer = ReadProcForPeer(ends);

    // Where this end is no longer connected, the other's port may be somebody else's by then.
    tcp_info own{};
    socklen_t size = sizeof own;
    const bool isKnown =
        ::getsockopt(accepted.native_handle(), IPPROTO_TCP, TCP_INFO, &own, &size) == 0;
    if (!isKnown || (own.tcpi_state != TCP_ESTABLISHED && own.tcpi_state != TCP_CLOSE_WAIT))
        return std::nullopt;
    return peer.user;
}

} // namespace web
