#pragma once

#include <boost/asio/io_context.hpp>
#include <cerrno>
#include <chrono>
#include <sys/wait.h>

/// Turns the loop until what is waited for is there; false when it has not come in 30 seconds.
template <typename Condition> bool TurnUntil(boost::asio::io_context &loop, Condition isThere)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!isThere())
    {
        if (std::chrono::steady_clock::now() >= end)
            return false;
        loop.restart();
        loop.run_one_until(end);
    }
    return true;
}

/// Whether this process has any child, be it dead and not waited for.
inline bool HasAnyChild()
{
    siginfo_t child;
    return waitid(P_ALL, 0, &child, WEXITED | WNOHANG | WNOWAIT) == 0 || errno != ECHILD;
}
