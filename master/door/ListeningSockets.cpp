#include "master/door/ListeningSockets.h"

#include <cerrno>
#include <cstring>
#include <memory>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "master/door/SocketFile.h"
#include "ostrel/Exception.h"

namespace master
{

using corvan::MasterAddress;
using ostrel::Exception;

namespace
{

using Addresses = std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)>;

void SetFlag(int socket, int level, int option)
{
    const int on = 1;
    ::setsockopt(socket, level, option, &on, sizeof on);
}

// -1, with the system's error, where it cannot listen there.
int Listening(int family, const sockaddr *address, socklen_t size)
{
    const int socket = ::socket(family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (socket < 0)
        return -1;
    if (family != AF_UNIX)
    {
        // A Master that is started again finds its last connections still closing.
        SetFlag(socket, SOL_SOCKET, SO_REUSEADDR);
        SetFlag(socket, IPPROTO_TCP, TCP_NODELAY);
    }
    if (::bind(socket, address, size) == 0 && ::listen(socket, SOMAXCONN) == 0)
        return socket;
    const int error = errno;
    ::close(socket);
    errno = error;
    return -1;
}

void RequireSocket(int socket, const MasterAddress &address)
{
    if (socket >= 0)
        return;
    if (errno == EADDRINUSE || errno == EADDRNOTAVAIL)
        throw new Exception("cannot listen at " + address.text +
                            ": the address is in use or not of this machine");
    throw new Exception("cannot listen at " + address.text + ": " + std::strerror(errno));
}

int PortOf(int socket)
{
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    ::getsockname(socket, reinterpret_cast<sockaddr *>(&address), &size);
    return ntohs(address.ss_family == AF_INET6
                     ? reinterpret_cast<const sockaddr_in6 &>(address).sin6_port
                     : reinterpret_cast<const sockaddr_in &>(address).sin_port);
}

void SetPort(sockaddr *address, int port)
{
    if (address->sa_family == AF_INET6)
        reinterpret_cast<sockaddr_in6 *>(address)->sin6_port = htons(std::uint16_t(port));
    else
        reinterpret_cast<sockaddr_in *>(address)->sin_port = htons(std::uint16_t(port));
}

ListeningSockets ListenAtFile(const MasterAddress &address)
{
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    std::strncpy(name.sun_path, address.socketFile.Text().c_str(), sizeof(name.sun_path) - 1);
    const PrivateFiles privateFiles;
    const int socket = Listening(AF_UNIX, reinterpret_cast<const sockaddr *>(&name), sizeof name);
    RequireSocket(socket, address);
    return {{socket}, 0};
}

Addresses Resolve(const MasterAddress &address)
{
    const std::size_t colon = address.text.rfind(':');
    String host = address.text.substr(0, colon);
    if (host.starts_with('['))
        host = host.substr(1, host.size() - 2);
    addrinfo hints{};
    hints.ai_flags = AI_PASSIVE;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo *found = nullptr;
    const int error =
        ::getaddrinfo(host.c_str(), address.text.substr(colon + 1).c_str(), &hints, &found);
    if (error != 0)
        throw new Exception("cannot listen at " + address.text + ": " + ::gai_strerror(error));
    return {found, &::freeaddrinfo};
}

ListeningSockets ListenAtHost(const MasterAddress &address)
{
    ListeningSockets sockets;
    const Addresses found = Resolve(address);
    for (addrinfo *each = found.get(); each; each = each->ai_next)
    {
        if (sockets.port != 0)
            SetPort(each->ai_addr, sockets.port);
        const int socket = Listening(each->ai_family, each->ai_addr, each->ai_addrlen);
        // A machine without IPv6 has names of it all the same.
        if (socket < 0 && (errno == EAFNOSUPPORT || errno == EADDRNOTAVAIL) &&
            (each->ai_next || !sockets.descriptors.empty()))
            continue;
        if (socket < 0)
        {
            const int error = errno;
            for (const int open : sockets.descriptors)
                ::close(open);
            errno = error;
        }
        RequireSocket(socket, address);
        sockets.descriptors.push_back(socket);
        sockets.port = PortOf(socket);
    }
    return sockets;
}

} // namespace

ListeningSockets ListenAt(const MasterAddress &address)
{
    return address.kind == MasterAddress::Kind::Socket ? ListenAtFile(address)
                                                       : ListenAtHost(address);
}

} // namespace master
