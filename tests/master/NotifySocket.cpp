#include "tests/master/NotifySocket.h"

#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace
{

int Bound(const ostrel::Path &file)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, file.Text().c_str(), sizeof(address.sun_path) - 1);
    const int socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (::bind(socket, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0)
        ::perror("a socket for notices");
    return socket;
}

} // namespace

NotifySocket::NotifySocket(const ostrel::Path &folder, std::chrono::microseconds watchdog)
    : m_file(folder / "notify"), m_socket(Bound(m_file)),
      m_name("NOTIFY_SOCKET", m_file.Text().c_str()),
      m_watchdog("WATCHDOG_USEC",
                 watchdog.count() > 0 ? std::to_string(watchdog.count()).c_str() : nullptr)
{
}

std::optional<std::string> NotifySocket::Next(std::chrono::milliseconds within)
{
    pollfd wait{.fd = m_socket.Number(), .events = POLLIN, .revents = 0};
    if (::poll(&wait, 1, int(within.count())) != 1)
        return std::nullopt;
    char text[4096];
    const ssize_t count = ::recv(m_socket.Number(), text, sizeof text, 0);
    return count < 0 ? std::nullopt : std::optional(std::string(text, std::size_t(count)));
}

bool NotifySocket::WaitFor(const std::string &line)
{
    while (const auto message = Next())
        if (("\n" + *message + "\n").find("\n" + line + "\n") != std::string::npos)
            return true;
    return false;
}

void NotifySocket::Forget()
{
    while (Next(std::chrono::milliseconds(0)))
        ;
}
