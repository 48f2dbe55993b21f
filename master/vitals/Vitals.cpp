#include "master/vitals/Vitals.h"

#include "master/vitals/ServiceManager.h"
#include "ostrel/Attempt.h"
#include "ostrel/CallEntry.h"
#include "ostrel/Log.h"

namespace master
{

using ostrel::_CallEntry;
using std::chrono::steady_clock;

namespace
{

constexpr std::chrono::seconds k_probe_after{10};
// Once it has failed.
constexpr std::chrono::seconds k_probe_again_after{2};

} // namespace

Vitals::Vitals(boost::asio::io_context &loop, JobStore &store, const Settings &settings,
               std::function<void()> takeTurn)
    : m_store(store), m_probesStore(settings.probesStore), m_health(settings.loopPatience),
      m_report(settings.store, m_health, m_metrics), m_pulse(loop, std::move(takeTurn))
{
    _CallEntry call("Vitals::Vitals", __FILE__, __LINE__);

    if (settings.statusPort)
        m_server = std::make_unique<StatusServer>(*settings.statusPort, m_report);
}

void Vitals::NoteTurn(std::chrono::nanoseconds took)
{
    _CallEntry call("Vitals::NoteTurn", __FILE__, __LINE__);

    if (m_probesStore)
        ProbeStore();
    const JobStore::Commits &commits = m_store.CommitsSoFar();
    m_health.NoteChange(commits.isLastDone);
    m_health.NoteTurn();
    m_metrics.SetCommits(commits.done, commits.failed);
    m_metrics.NoteTurn(took);
    m_pulse.NoteTurn();
}

void Vitals::ProbeStore()
{
    _CallEntry call("Vitals::ProbeStore", __FILE__, __LINE__);

    const auto now = steady_clock::now();
    const JobStore::Commits &commits = m_store.CommitsSoFar();
    const bool isKnown = commits.isLastDone && now < commits.last + k_probe_after;
    if (isKnown || now < m_nextProbe)
        return;
    if (const auto reason = ostrel::Attempt([&] { m_store.Probe(); }))
    {
        if (m_health.Trouble().empty())
            ostrel::LogError("changes do not get to disk: " + *reason);
        m_nextProbe = steady_clock::now() + k_probe_again_after;
    }
}

void Vitals::NoteClients(std::size_t count)
{
    _CallEntry call("Vitals::NoteClients", __FILE__, __LINE__);

    m_metrics.SetClients(count);
}

void Vitals::NoteRefusals(std::size_t count)
{
    _CallEntry call("Vitals::NoteRefusals", __FILE__, __LINE__);

    m_metrics.NoteRefusals(count);
}

void Vitals::NoteAudit(bool isWritten)
{
    _CallEntry call("Vitals::NoteAudit", __FILE__, __LINE__);

    m_health.NoteAudit(isWritten);
}

void Vitals::NoteEnd()
{
    _CallEntry call("Vitals::NoteEnd", __FILE__, __LINE__);

    m_health.NoteEnd();
    TellStopping();
}

std::optional<std::uint16_t> Vitals::StatusPort() const
{
    _CallEntry call("Vitals::StatusPort", __FILE__, __LINE__);

    return m_server ? std::optional(m_server->Port()) : std::nullopt;
}

} // namespace master
