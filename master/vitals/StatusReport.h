#pragma once

#include "master/door/Health.h"
#include "master/door/StatusServer.h"
#include "master/vitals/Metrics.h"
#include "ostrel/Path.h"

namespace master
{

using ostrel::Path;

/// What the Master tells of itself over HTTP: from what the loop has noted, and from its store,
/// which is counted over a connection of its own. Any thread.
class StatusReport : public StatusServer::Source
{
public:
    /// All outlive it. `store` is the file of the job store.
    StatusReport(Path store, const Health &health, const Metrics &metrics)
        : m_store(std::move(store)), m_health(health), m_metrics(metrics)
    {
    }

    std::string MetricsText() override;
    String Trouble() override;

private:
    const Path m_store;
    const Health &m_health;
    const Metrics &m_metrics;
};

} // namespace master
