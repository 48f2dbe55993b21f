#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <random>

#include "ostrel/UID.h"

namespace simulation
{

/// All that is left to chance in a history: the same for the same seed, on every machine.
class Chance
{
public:
    using Milliseconds = std::chrono::milliseconds;

    explicit Chance(std::uint64_t seed) : m_random(seed) {}

    /// 0 to `count` - 1.
    unsigned Below(unsigned count)
    {
        return unsigned(m_random() % count);
    }
    /// Both ends among them.
    unsigned Between(unsigned least, unsigned most)
    {
        return least + Below(most - least + 1);
    }
    bool IsOneIn(unsigned count)
    {
        return Below(count) == 0;
    }
    bool Percent(unsigned percent)
    {
        return Below(100) < percent;
    }
    /// Short ones are as likely as long ones: 1 to 10 ms as 1 to 10 s.
    Milliseconds Span(unsigned leastMs, unsigned mostMs)
    {
        unsigned limit = mostMs;
        while (limit / 4 > leastMs && IsOneIn(2))
            limit /= 4;
        return Milliseconds(Between(leastMs, limit));
    }

    ostrel::UID NewID()
    {
        char text[40];
        std::snprintf(text, sizeof text, "%08x-%04x-4%03x-8%03x-%04x%08x", Word(), Word() >> 16,
                      Word() >> 20, Word() >> 20, Word() >> 16, Word());
        return ostrel::UID(ostrel::String(text), true);
    }

    std::uint64_t Seed()
    {
        return m_random();
    }

private:
    unsigned Word()
    {
        return unsigned(m_random() >> 32);
    }

    std::mt19937_64 m_random;
};

} // namespace simulation
