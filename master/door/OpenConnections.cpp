#include "master/door/OpenConnections.h"

#include <algorithm>
#include <sys/stat.h>

#include "ostrel/CallEntry.h"

namespace master
{

using ostrel::_CallEntry;

namespace
{

constexpr std::chrono::milliseconds k_least_between_looks{50};

// 0 for a descriptor that is not open.
ino_t InodeOf(int descriptor)
{
    struct stat status
    {
    };
    return ::fstat(descriptor, &status) == 0 ? status.st_ino : 0;
}

} // namespace

void OpenConnections::Add(int socket, const String &peerKey)
{
    _CallEntry call("OpenConnections::Add", __FILE__, __LINE__);

    // Its number was free, so whoever had it is gone.
    std::erase_if(m_open, [&](const Open &open) { return open.socket == socket; });
    m_open.push_back({socket, InodeOf(socket), peerKey});
}

std::size_t OpenConnections::Count(std::size_t enough)
{
    _CallEntry call("OpenConnections::Count", __FILE__, __LINE__);

    if (m_open.size() >= enough)
        ForgetClosed();
    return m_open.size();
}

std::size_t OpenConnections::CountOf(const String &peerKey, std::size_t enough)
{
    _CallEntry call("OpenConnections::CountOf", __FILE__, __LINE__);

    if (NotedOf(peerKey) >= enough)
        ForgetClosed();
    return NotedOf(peerKey);
}

std::size_t OpenConnections::NotedOf(const String &peerKey) const
{
    _CallEntry call("OpenConnections::NotedOf", __FILE__, __LINE__);

    return std::size_t(std::ranges::count(m_open, peerKey, &Open::peerKey));
}

void OpenConnections::ForgetClosed()
{
    _CallEntry call("OpenConnections::ForgetClosed", __FILE__, __LINE__);

    const auto now = std::chrono::steady_clock::now();
    if (now - m_lastLook < k_least_between_looks)
        return;
    m_lastLook = now;
    std::erase_if(m_open, [](const Open &open) { return InodeOf(open.socket) != open.inode; });
}

} // namespace master
