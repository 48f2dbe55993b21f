#pragma once

#include <chrono>

namespace master
{

/// What time it is, for whoever plans ahead. It never goes back, and nobody sets it.
class Clock
{
public:
    using Moment = std::chrono::steady_clock::time_point;

    virtual ~Clock() = default;
    virtual Moment Now() const = 0;
};

/// The system's own.
class SteadyClock : public Clock
{
public:
    Moment Now() const override
    {
        return std::chrono::steady_clock::now();
    }
};

} // namespace master
