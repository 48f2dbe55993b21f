#include "master/vitals/StatusReport.h"

#include <algorithm>

#include "master/store/StoreCounts.h"
#include "ostrel/CallEntry.h"

namespace master
{

using ostrel::_CallEntry;

std::string StatusReport::MetricsText()
{
    _CallEntry call("StatusReport::MetricsText", __FILE__, __LINE__);

    StoreCounts counts = CountStore(m_store);
    Metrics::Now now;
    now.isHealthy = Trouble().empty();
    now.sinceTurn = m_health.SinceTurn();
    if (counts.oldestQueued)
    {
        // The clock may have been set back.
        const auto age = ostrel::Time::Now().First() - counts.oldestQueued->First();
        now.queueAge = std::chrono::nanoseconds(std::max<std::int64_t>(age, 0));
    }
    now.jobs = std::move(counts.jobs);
    now.tasks = std::move(counts.tasks);
    return m_metrics.Text(now);
}

String StatusReport::Trouble()
{
    _CallEntry call("StatusReport::Trouble", __FILE__, __LINE__);

    return m_health.Trouble();
}

} // namespace master
