#include "master/vitals/Pulse.h"

#include <algorithm>

#include "master/vitals/ServiceManager.h"
#include "ostrel/CallEntry.h"

namespace master
{

using ostrel::_CallEntry;
using std::chrono::steady_clock;

namespace
{

constexpr std::chrono::microseconds k_longest_period = std::chrono::seconds(2);

std::chrono::microseconds Period()
{
    const auto watchdog = WatchdogTime();
    return watchdog ? std::min(*watchdog / 4, k_longest_period) : k_longest_period;
}

} // namespace

Pulse::Pulse(boost::asio::io_context &loop, std::function<void()> takeTurn)
    : m_timer(loop), m_takeTurn(std::move(takeTurn)), m_period(Period()),
      m_isWatched(WatchdogTime().has_value())
{
    _CallEntry call("Pulse::Pulse", __FILE__, __LINE__);

    Wait();
}

void Pulse::NoteTurn()
{
    _CallEntry call("Pulse::NoteTurn", __FILE__, __LINE__);

    const auto now = steady_clock::now();
    if (!m_isWatched || now < m_nextTold)
        return;
    // A busy Master takes hundreds of turns a second.
    m_nextTold = now + m_period / 2;
    TellAlive();
}

void Pulse::Wait()
{
    _CallEntry call("Pulse::Wait", __FILE__, __LINE__);

    m_timer.expires_after(m_period);
    m_timer.async_wait(
        [this](const boost::system::error_code &error)
        {
            if (error)
                return;
            Wait();
            m_takeTurn();
        });
}

} // namespace master
