#include "master/vitals/ServiceManager.h"

#include <cstdint>
#include <ctime>
#include <string>
#include <systemd/sd-daemon.h>

namespace master
{

namespace
{

void Tell(const ostrel::String &text)
{
    ::sd_notify(0, text.c_str());
}

std::string MonotonicMicroseconds()
{
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return std::to_string(std::uint64_t(now.tv_sec) * 1'000'000 +
                          std::uint64_t(now.tv_nsec) / 1000);
}

} // namespace

void TellReady(const ostrel::String &status)
{
    Tell("READY=1\nSTATUS=" + status);
}

void TellReloading()
{
    // With the time a later systemd tells this reload from one before.
    Tell("RELOADING=1\nMONOTONIC_USEC=" + MonotonicMicroseconds());
}

void TellStopping()
{
    Tell("STOPPING=1\nSTATUS=ending the commands");
}

void TellAlive()
{
    Tell("WATCHDOG=1");
}

std::optional<std::chrono::microseconds> WatchdogTime()
{
    std::uint64_t microseconds = 0;
    if (::sd_watchdog_enabled(0, &microseconds) <= 0 || microseconds == 0)
        return std::nullopt;
    return std::chrono::microseconds(microseconds);
}

} // namespace master
