#include "tests/master/HttpClient.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sstream>
#include <sys/socket.h>

namespace
{

constexpr int k_http_wait_ms = 30'000;

HttpAnswer Parse(const std::string &text)
{
    HttpAnswer answer;
    std::istringstream lines(text);
    std::string line;
    std::string version;
    std::getline(lines, line);
    std::istringstream(line) >> version >> answer.status;
    while (std::getline(lines, line) && line != "\r")
    {
        const std::size_t colon = line.find(": ");
        if (colon != std::string::npos)
            answer.fields[line.substr(0, colon)] = line.substr(colon + 2, line.size() - colon - 3);
    }
    const std::size_t body = text.find("\r\n\r\n");
    if (body != std::string::npos)
        answer.body = text.substr(body + 4);
    return answer;
}

} // namespace

HttpClient::HttpClient(std::uint16_t port)
    : m_socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    m_isConnected = ::connect(m_socket.Number(), reinterpret_cast<const sockaddr *>(&address),
                              sizeof address) == 0;
}

void HttpClient::Send(const std::string &text)
{
    for (std::size_t done = 0; done < text.size();)
    {
        const ssize_t count =
            ::send(m_socket.Number(), text.data() + done, text.size() - done, MSG_NOSIGNAL);
        if (count <= 0)
            return;
        done += std::size_t(count);
    }
}

HttpAnswer HttpClient::Receive()
{
    std::string text;
    char part[4096];
    pollfd wait{.fd = m_socket.Number(), .events = POLLIN, .revents = 0};
    while (::poll(&wait, 1, k_http_wait_ms) == 1)
    {
        const ssize_t count = ::recv(m_socket.Number(), part, sizeof part, 0);
        if (count <= 0)
            return Parse(text);
        text.append(part, std::size_t(count));
    }
    return {};
}

std::uint16_t UnusedPort()
{
    const ostrel::Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    ::bind(socket.Number(), reinterpret_cast<const sockaddr *>(&address), size);
    ::getsockname(socket.Number(), reinterpret_cast<sockaddr *>(&address), &size);
    return ntohs(address.sin_port);
}

HttpAnswer HttpGet(std::uint16_t port, const std::string &path, const std::string &method)
{
    HttpClient client(port);
    client.Send(method + " " + path + " HTTP/1.1\r\nHost: localhost\r\n\r\n");
    return client.Receive();
}
