#pragma once

#include <chrono>
#include <functional>
#include <memory>

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

/// Calls once, when a moment has come. It belongs to the loop thread, and calls there. Once it is
/// destroyed it calls no more.
class Alarm
{
public:
    virtual ~Alarm() = default;

    /// Calls `ring` at this moment, or soon where it is over. What it was set to before is
    /// forgotten.
    virtual void Set(Clock::Moment at, std::function<void()> ring) = 0;
    virtual void Cancel() = 0;
};

/// A clock that calls. It outlives its alarms. Loop thread.
class AlarmClock : public Clock
{
public:
    virtual std::unique_ptr<Alarm> MakeAlarm() = 0;
};

} // namespace master
