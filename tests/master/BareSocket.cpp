#include "tests/master/BareSocket.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstring>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <gtest/gtest.h>

using ostrel::Descriptor;

namespace
{

sockaddr_in AddressOf(const char *host, int port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(std::uint16_t(port));
    EXPECT_EQ(::inet_pton(AF_INET, host, &address.sin_addr), 1) << host;
    return address;
}

} // namespace

BareSocket MakeFileSocket()
{
    return std::make_unique<Descriptor>(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
}

void Connect(const BareSocket &socket, const ostrel::Path &file)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    file.Text().copy(address.sun_path, sizeof(address.sun_path) - 1);
    EXPECT_EQ(
        ::connect(socket->Number(), reinterpret_cast<const sockaddr *>(&address), sizeof address),
        0);
}

BareSocket ConnectToFile(const ostrel::Path &file)
{
    BareSocket socket = MakeFileSocket();
    Connect(socket, file);
    return socket;
}

BareSocket ConnectToPort(int port, const char *from)
{
    auto socket = std::make_unique<Descriptor>(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_in own = AddressOf(from, 0);
    EXPECT_EQ(::bind(socket->Number(), reinterpret_cast<const sockaddr *>(&own), sizeof own), 0);
    const sockaddr_in to = AddressOf("127.0.0.1", port);
    EXPECT_EQ(::connect(socket->Number(), reinterpret_cast<const sockaddr *>(&to), sizeof to), 0);
    return socket;
}

void Say(const BareSocket &socket, const char *text)
{
    const std::size_t size = std::strlen(text);
    EXPECT_EQ(::send(socket->Number(), text, size, MSG_NOSIGNAL), ssize_t(size));
}

bool IsClosed(const BareSocket &socket, std::chrono::milliseconds within)
{
    const auto end = std::chrono::steady_clock::now() + within;
    pollfd wait{.fd = socket->Number(), .events = POLLIN, .revents = 0};
    for (;;)
    {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        char bytes[1000];
        if (::poll(&wait, 1, std::max(0, int(left.count()))) != 1)
            return false;
        if (::recv(socket->Number(), bytes, sizeof bytes, MSG_DONTWAIT) <= 0)
            return true;
    }
}
