#include "master/vitals/Metrics.h"

#include <iterator>
#include <prometheus/counter.h>
#include <prometheus/gauge.h>
#include <prometheus/histogram.h>
#include <prometheus/registry.h>
#include <prometheus/text_serializer.h>

#include "ostrel/CallEntry.h"

namespace master
{

using ostrel::_CallEntry;

namespace
{

constexpr JobStatus k_statuses[] = {JobStatus::Queued, JobStatus::Running, JobStatus::Done,
                                    JobStatus::Failed, JobStatus::Paused,  JobStatus::Cancelled};

const prometheus::Histogram::BucketBoundaries k_turn_seconds = {0.001, 0.003, 0.01, 0.03, 0.1,
                                                                0.3,   1,     3,    10,   30};

double Seconds(std::chrono::nanoseconds time)
{
    return std::chrono::duration<double>(time).count();
}

// Moves a counter on to where it stands elsewhere.
void Advance(prometheus::Counter &counter, std::uint64_t to)
{
    counter.Increment(double(to) - counter.Value());
}

prometheus::MetricFamily Gauge(const char *name, const char *help, double value)
{
    prometheus::MetricFamily family{name, help, prometheus::MetricType::Gauge, {}};
    family.metric.emplace_back().gauge.value = value;
    return family;
}

// One value for each status, also where there are none.
prometheus::MetricFamily ByStatus(const char *name, const char *help,
                                  const StoreCounts::Counts &counts)
{
    prometheus::MetricFamily family{name, help, prometheus::MetricType::Gauge, {}};
    for (const JobStatus status : k_statuses)
    {
        prometheus::ClientMetric &metric = family.metric.emplace_back();
        metric.label.push_back({"status", corvan::StatusName(status)});
        const auto found = counts.find(status);
        metric.gauge.value = found == counts.end() ? 0 : double(found->second);
    }
    return family;
}

} // namespace

struct Metrics::Parts
{
    prometheus::Registry registry;
    prometheus::Histogram &turns = prometheus::BuildHistogram()
                                       .Name("corvan_turn_seconds")
                                       .Help("How long the turns of the Master's loop take")
                                       .Register(registry)
                                       .Add({}, k_turn_seconds);
    prometheus::Family<prometheus::Counter> &commits =
        prometheus::BuildCounter()
            .Name("corvan_commits_total")
            .Help("Changes of the job store, by whether they got to disk")
            .Register(registry);
    prometheus::Counter &commitsDone = commits.Add({{"result", "done"}});
    prometheus::Counter &commitsFailed = commits.Add({{"result", "failed"}});
    prometheus::Counter &refusals = prometheus::BuildCounter()
                                        .Name("corvan_refusals_total")
                                        .Help("Requests of clients that were refused")
                                        .Register(registry)
                                        .Add({});
    prometheus::Gauge &clients = prometheus::BuildGauge()
                                     .Name("corvan_clients")
                                     .Help("Clients that are connected")
                                     .Register(registry)
                                     .Add({});
};

Metrics::Metrics() : m_parts(std::make_unique<Parts>())
{
    _CallEntry call("Metrics::Metrics", __FILE__, __LINE__);
}

Metrics::~Metrics() = default;

void Metrics::NoteTurn(std::chrono::nanoseconds took)
{
    _CallEntry call("Metrics::NoteTurn", __FILE__, __LINE__);

    m_parts->turns.Observe(Seconds(took));
}

void Metrics::NoteRefusals(std::size_t count)
{
    _CallEntry call("Metrics::NoteRefusals", __FILE__, __LINE__);

    m_parts->refusals.Increment(double(count));
}

void Metrics::SetCommits(std::uint64_t done, std::uint64_t failed)
{
    _CallEntry call("Metrics::SetCommits", __FILE__, __LINE__);

    Advance(m_parts->commitsDone, done);
    Advance(m_parts->commitsFailed, failed);
}

void Metrics::SetClients(std::size_t count)
{
    _CallEntry call("Metrics::SetClients", __FILE__, __LINE__);

    m_parts->clients.Set(double(count));
}

std::string Metrics::Text(const Now &now) const
{
    _CallEntry call("Metrics::Text", __FILE__, __LINE__);

    std::vector<prometheus::MetricFamily> families = m_parts->registry.Collect();
    families.push_back(ByStatus("corvan_tasks", "Tasks of all jobs that are kept", now.tasks));
    families.push_back(ByStatus("corvan_jobs", "Jobs that are kept", now.jobs));
    families.push_back(Gauge("corvan_queue_age_seconds",
                             "Age of the oldest job that has a task to start",
                             Seconds(now.queueAge)));
    families.push_back(Gauge("corvan_turn_age_seconds",
                             "Time since the Master's loop has taken a turn",
                             Seconds(now.sinceTurn)));
    families.push_back(Gauge("corvan_healthy",
                             "1 where the loop takes turns and changes get to disk",
                             now.isHealthy ? 1 : 0));
    return prometheus::TextSerializer().Serialize(families);
}

} // namespace master
