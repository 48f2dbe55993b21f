#include "tests/web/door/BareHttp.h"

#include <arpa/inet.h>
#include <cstring>
#include <netinet/in.h>
#include <poll.h>
#include <sstream>
#include <sys/socket.h>

#include <gtest/gtest.h>

namespace
{

constexpr std::chrono::seconds k_bare_wait{30};

bool IsOfIPv6(const char *host)
{
    return std::strchr(host, ':') != nullptr;
}

sockaddr_storage AddressAt(const char *host, std::uint16_t port)
{
    sockaddr_storage address{};
    if (IsOfIPv6(host))
    {
        auto &v6 = reinterpret_cast<sockaddr_in6 &>(address);
        v6.sin6_family = AF_INET6;
        v6.sin6_port = htons(port);
        ::inet_pton(AF_INET6, host, &v6.sin6_addr);
    }
    else
    {
        auto &v4 = reinterpret_cast<sockaddr_in &>(address);
        v4.sin_family = AF_INET;
        v4.sin_port = htons(port);
        ::inet_pton(AF_INET, host, &v4.sin_addr);
    }
    return address;
}

} // namespace

BareHttp::BareHttp(std::uint16_t port, const char *from)
    : m_socket(::socket(IsOfIPv6(from) ? AF_INET6 : AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    const sockaddr_storage own = AddressAt(from, 0);
    const sockaddr_storage to = AddressAt(IsOfIPv6(from) ? "::1" : "127.0.0.1", port);
    EXPECT_EQ(::bind(Number(), reinterpret_cast<const sockaddr *>(&own), sizeof own), 0);
    EXPECT_EQ(::connect(Number(), reinterpret_cast<const sockaddr *>(&to), sizeof to), 0);
}

void BareHttp::Send(const std::string &text)
{
    for (std::size_t done = 0; done < text.size();)
    {
        const ssize_t count =
            ::send(Number(), text.data() + done, text.size() - done, MSG_NOSIGNAL);
        if (count <= 0)
            return;
        done += std::size_t(count);
    }
}

BareAnswer BareHttp::Receive(bool isHead)
{
    std::size_t end = 0;
    while ((end = m_bytes.find("\r\n\r\n")) == std::string::npos)
        if (!ReadSome(k_bare_wait))
            return {};
    BareAnswer answer;
    std::istringstream lines(m_bytes.substr(0, end + 2));
    m_bytes.erase(0, end + 4);
    std::string line;
    std::getline(lines, line);
    EXPECT_EQ(line.substr(0, 9), "HTTP/1.1 ") << line;
    answer.status = std::stoi(line.substr(9));
    while (std::getline(lines, line))
    {
        const std::size_t colon = line.find(": ");
        EXPECT_NE(colon, std::string::npos) << line;
        answer.fields[line.substr(0, colon)] = line.substr(colon + 2, line.size() - colon - 3);
    }
    const std::string length = answer.Field("Content-Length");
    if (isHead || length.empty())
        return answer;
    while (m_bytes.size() < std::stoul(length))
        if (!ReadSome(k_bare_wait))
            return {};
    answer.body = m_bytes.substr(0, std::stoul(length));
    m_bytes.erase(0, std::stoul(length));
    return answer;
}

std::string BareHttp::ReceiveUntil(const std::string &text)
{
    std::size_t found = 0;
    while ((found = m_bytes.find(text)) == std::string::npos)
        if (!ReadSome(k_bare_wait))
            return std::exchange(m_bytes, {});
    const std::string all = m_bytes.substr(0, found + text.size());
    m_bytes.erase(0, all.size());
    return all;
}

bool BareHttp::IsClosed(std::chrono::milliseconds within)
{
    const auto end = std::chrono::steady_clock::now() + within;
    for (;;)
    {
        const auto left = end - std::chrono::steady_clock::now();
        if (left.count() < 0)
            return false;
        pollfd wait{.fd = Number(), .events = POLLIN, .revents = 0};
        if (::poll(&wait, 1, int(std::chrono::ceil<std::chrono::milliseconds>(left).count())) != 1)
            return false;
        char bytes[4096];
        if (::recv(Number(), bytes, sizeof bytes, MSG_DONTWAIT) <= 0)
            return true;
    }
}

bool BareHttp::ReadSome(std::chrono::milliseconds within)
{
    pollfd wait{.fd = Number(), .events = POLLIN, .revents = 0};
    if (::poll(&wait, 1, int(within.count())) != 1)
        return false;
    char part[16384];
    const ssize_t count = ::recv(Number(), part, sizeof part, 0);
    if (count <= 0)
        return false;
    m_bytes.append(part, std::size_t(count));
    return true;
}

BareAnswer AskBare(std::uint16_t port, const std::string &request)
{
    BareHttp client(port);
    client.Send(request);
    return client.Receive(request.starts_with("HEAD "));
}
