#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "ostrel/String.h"

namespace master
{

using ostrel::String;

/// The Master for monitoring: /metrics for Prometheus, and /healthz, over HTTP, for this machine
/// alone (127.0.0.1). Threads of its own; nothing here waits for the loop.
///
/// One request a connection, which has 5 seconds for it; 64 connections at a time.
class StatusServer
{
public:
    /// What it tells.
    class Source
    {
    public:
        virtual ~Source() = default;
        /// All metrics in Prometheus' text format. On a thread of the server, one call at a time;
        /// may take a while, during which /healthz is answered, and throw.
        virtual std::string MetricsText() = 0;
        /// Why the Master does not do its work; empty where it does. On another thread, at once.
        virtual String Trouble() = 0;
    };

    /// Listens from now on, at a port that the system chooses where it is 0. The source outlives
    /// it. Throws `ostrel::Exception *` where it cannot.
    StatusServer(std::uint16_t port, Source &source);
    /// Waits for metrics that are on their way.
    ~StatusServer();

    std::uint16_t Port() const;

private:
    class Parts;

    std::unique_ptr<Parts> m_parts;
};

} // namespace master
