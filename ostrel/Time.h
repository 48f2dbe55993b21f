#pragma once

#include <cstdint>
#include <ctime>

#include "ostrel/String.h"

namespace ostrel
{

/// Date and time without milliseconds: "2026-11-20 14:03:09". A strftime pattern.
extern const char *const k_DateTimeNoMS;

/// A moment: nanoseconds since 1970-01-01 UTC in the first word, which alone orders; the second
/// word is kept at zero. Both zero means no moment.
class Time
{
public:
    Time() = default;
    explicit Time(std::int64_t nanoseconds) : m_first(nanoseconds) {}
    explicit Time(const timespec &moment)
        : m_first(std::int64_t(moment.tv_sec) * 1'000'000'000 + moment.tv_nsec)
    {
    }

    static Time Now();

    /// `now` is asked instead of the system's clock from here on, for tests of what takes days, or
    /// of a clock that somebody sets; null for the system's again. While no other thread asks.
    static void SetClock(Time (*now)());

    std::int64_t First() const
    {
        return m_first;
    }
    std::int64_t Second() const
    {
        return m_second;
    }

    /// This moment by a strftime pattern. `localTime`: in the machine's zone, else UTC.
    /// `blankWhenZero`: the zero moment prints as an empty text, else as 1970.
    String Format(const char *pattern, bool localTime, bool blankWhenZero) const;

    /// Appends this moment in UTC as "2026-11-20T14:03:09.123456789Z". Much faster than `Format`.
    void AppendIso(std::string &out) const;

    friend bool operator==(const Time &, const Time &) = default;

private:
    std::int64_t m_first = 0;
    std::int64_t m_second = 0;
};

} // namespace ostrel
