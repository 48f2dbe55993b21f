#pragma once

#include <random>

#include "corvan/GrpcLink.h"

namespace corvan
{

/// How long a link waits before it tries again: not at all after a connection that had settled,
/// else longer each time, and never two links the same.
class ReconnectPause
{
public:
    explicit ReconnectPause(const LinkTiming &timing, unsigned seed = std::random_device()())
        : m_timing(timing), m_random(seed)
    {
    }

    /// What to wait after an attempt whose connection lived so long; zero lived for none.
    LinkTiming::Milliseconds Next(LinkTiming::Milliseconds lived);

private:
    LinkTiming m_timing;
    std::mt19937 m_random;
    LinkTiming::Milliseconds m_next{0};
};

} // namespace corvan
