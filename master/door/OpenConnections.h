#pragma once

#include <chrono>
#include <cstddef>
#include <sys/types.h>
#include <vector>

#include "ostrel/String.h"

namespace master
{

using ostrel::String;

/// Counts connections that were handed to somebody who does not tell when they close.
///
/// A descriptor is the same connection as long as the system gives it the same inode. One thread.
class OpenConnections
{
public:
    void Add(int socket, const String &peerKey);

    /// How many are open, together and of one peer: never too few. What has closed is found out
    /// where the number reaches `enough`, and not more often than each 50 ms.
    std::size_t Count(std::size_t enough);
    std::size_t CountOf(const String &peerKey, std::size_t enough);

private:
    struct Open
    {
        int socket;
        ino_t inode;
        String peerKey;
    };

    std::size_t NotedOf(const String &peerKey) const;
    void ForgetClosed();

    std::vector<Open> m_open;
    std::chrono::steady_clock::time_point m_lastLook{};
};

} // namespace master
