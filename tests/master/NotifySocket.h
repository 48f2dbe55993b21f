#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "ostrel/Descriptor.h"
#include "ostrel/Path.h"
#include "tests/support/EnvironmentGuard.h"

/// The test's own end of what a service manager is told: the socket that $NOTIFY_SOCKET names, for
/// this process and those that it starts, for as long as this lives.
class NotifySocket
{
public:
    /// Makes the socket in this folder. Where there is a watchdog time it is asked for, too.
    explicit NotifySocket(const ostrel::Path &folder, std::chrono::microseconds watchdog = {});

    /// What is told next, within this time; nothing where nothing is.
    std::optional<std::string> Next(std::chrono::milliseconds within = std::chrono::seconds(30));

    /// True once a message has this line; those before it are passed over.
    bool WaitFor(const std::string &line);

    /// Passes over what was told up to now.
    void Forget();

private:
    ostrel::Path m_file;
    ostrel::Descriptor m_socket;
    EnvironmentGuard m_name;
    EnvironmentGuard m_watchdog;
    EnvironmentGuard m_watched{"WATCHDOG_PID", nullptr};
};
