#include "tests/support/RelaySocket.h"

#include <cstring>
#include <map>
#include <poll.h>
#include <stdexcept>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

namespace
{

sockaddr_un AddressOf(const std::string &path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
    return address;
}

int Listen(const std::string &path)
{
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_un address = AddressOf(path);
    if (bind(listener, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
        listen(listener, 16) != 0)
        throw std::runtime_error("cannot listen at " + path);
    return listener;
}

int ConnectTo(const std::string &path)
{
    const int connection = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_un address = AddressOf(path);
    if (connect(connection, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0)
        return connection;
    close(connection);
    return -1;
}

/// False at the end of the stream.
bool PassOn(int from, int to)
{
    char bytes[65536];
    const ssize_t count = read(from, bytes, sizeof bytes);
    for (ssize_t done = 0; done < count;)
    {
        const ssize_t wrote = send(to, bytes + done, std::size_t(count - done), MSG_NOSIGNAL);
        if (wrote <= 0)
            return false;
        done += wrote;
    }
    return count > 0;
}

} // namespace

RelaySocket::RelaySocket(const std::string &listenAt, const std::string &passOnTo)
    : m_passOnTo(passOnTo), m_listener(Listen(listenAt)), m_wakeUp(eventfd(0, EFD_CLOEXEC))
{
    m_thread = std::thread([this] { Run(); });
}

RelaySocket::~RelaySocket()
{
    m_isOver = true;
    eventfd_write(m_wakeUp, 1);
    m_thread.join();
    close(m_listener);
    close(m_wakeUp);
}

void RelaySocket::Freeze()
{
    m_isFrozen = true;
    eventfd_write(m_wakeUp, 1);
}

void RelaySocket::Run()
{
    std::map<int, int> partners;
    while (!m_isOver)
    {
        std::vector<pollfd> waits = {{m_wakeUp, POLLIN, 0}, {m_listener, POLLIN, 0}};
        for (const auto &[from, to] : partners)
            waits.push_back({from, POLLIN, 0});
        if (m_isFrozen)
            waits.resize(1);
        poll(waits.data(), waits.size(), -1);

        eventfd_t times = 0;
        if (waits[0].revents)
            eventfd_read(m_wakeUp, &times);
        if (m_isFrozen || m_isOver)
            continue;
        if (waits[1].revents)
        {
            const int near = accept(m_listener, nullptr, nullptr);
            const int far = ConnectTo(m_passOnTo);
            if (far < 0)
                close(near);
            else
                partners.insert({{near, far}, {far, near}});
        }
        for (std::size_t i = 2; i < waits.size(); ++i)
        {
            const auto pair = partners.find(waits[i].fd);
            if (!waits[i].revents || pair == partners.end() || PassOn(pair->first, pair->second))
                continue;
            const auto [from, to] = *pair;
            close(from);
            close(to);
            partners.erase(from);
            partners.erase(to);
        }
    }
    for (const auto &[from, to] : partners)
        close(from);
}

MuteSocket::MuteSocket(const std::string &path) : m_listener(Listen(path)) {}

MuteSocket::~MuteSocket()
{
    close(m_listener);
}
