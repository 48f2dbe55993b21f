#include "master/loop/LoopClock.h"

#include <boost/asio/steady_timer.hpp>

#include "ostrel/CallEntry.h"

namespace master
{

using ostrel::_CallEntry;

namespace
{

class LoopAlarm : public Alarm
{
public:
    explicit LoopAlarm(boost::asio::io_context &loop) : m_timer(loop) {}

    void Set(Clock::Moment at, std::function<void()> ring) override
    {
        m_timer.expires_at(at);
        m_timer.async_wait(
            [ring = std::move(ring)](const boost::system::error_code &error)
            {
                if (!error)
                    ring();
            });
    }

    void Cancel() override
    {
        m_timer.cancel();
    }

private:
    boost::asio::steady_timer m_timer;
};

} // namespace

Clock::Moment LoopClock::Now() const
{
    _CallEntry call("LoopClock::Now", __FILE__, __LINE__);

    return std::chrono::steady_clock::now();
}

std::unique_ptr<Alarm> LoopClock::MakeAlarm()
{
    _CallEntry call("LoopClock::MakeAlarm", __FILE__, __LINE__);

    return std::make_unique<LoopAlarm>(m_loop);
}

} // namespace master
