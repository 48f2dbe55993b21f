#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "master/door/Health.h"
#include "master/door/StatusServer.h"
#include "master/store/JobStore.h"
#include "master/vitals/Metrics.h"
#include "master/vitals/Pulse.h"
#include "master/vitals/StatusReport.h"

namespace master
{

/// How the Master is, for those who watch over it: the service manager, gRPC's health service, and
/// Prometheus. It sees to it that there are turns, and that something is written now and then: else
/// nobody would know whether it could be. Loop thread.
class Vitals
{
public:
    struct Settings
    {
        Path store; ///< File of the job store.
        /// Port of 127.0.0.1 for /metrics and /healthz; 0 for one that the system chooses.
        std::optional<std::uint16_t> statusPort;
        /// How long there may be no turn of the loop.
        std::chrono::milliseconds loopPatience = Health::k_Patience;
        /// Nobody watches over a personal Master; it leaves the disk alone.
        bool probesStore = true;
    };

    /// The store outlives it. `takeTurn` has `NoteTurn` called before long. Throws
    /// `ostrel::Exception *` where the port cannot be had.
    Vitals(boost::asio::io_context &loop, JobStore &store, const Settings &settings,
           std::function<void()> takeTurn);

    void NoteTurn(std::chrono::nanoseconds took);
    /// How many there are now.
    void NoteClients(std::size_t count);
    void NoteRefusals(std::size_t count);
    /// Whether the audit log has all that it is to have.
    void NoteAudit(bool isWritten);
    /// The Master ends.
    void NoteEnd();

    /// Any thread may ask it.
    const Health &State() const
    {
        return m_health;
    }

    /// Where the port is that was asked for.
    std::optional<std::uint16_t> StatusPort() const;

private:
    void ProbeStore();

    JobStore &m_store;
    const bool m_probesStore;
    std::chrono::steady_clock::time_point m_nextProbe;
    Health m_health;
    Metrics m_metrics;
    StatusReport m_report;
    Pulse m_pulse;
    std::unique_ptr<StatusServer> m_server;
};

} // namespace master
