#pragma once

#include <chrono>
#include <optional>

#include "ostrel/String.h"

namespace master
{

/// What the service manager is told, systemd as a rule, where it has started the Master and wants
/// to know: $NOTIFY_SOCKET names where. Elsewhere, and where it cannot be told, nothing happens.
/// Any thread; takes as long as a datagram to a socket of this machine.

/// The Master answers; `status` is what the manager shows of it.
void TellReady(const ostrel::String &status);
/// It reads its settings anew, until it is ready again.
void TellReloading();
/// It ends.
void TellStopping();
/// It still works. Where the manager does not hear it for its `WatchdogTime`, it ends the Master
/// and starts it again.
void TellAlive();

/// Within what time the manager wants to hear that this process still works ($WATCHDOG_USEC,
/// $WATCHDOG_PID); nothing where it does not.
std::optional<std::chrono::microseconds> WatchdogTime();

} // namespace master
