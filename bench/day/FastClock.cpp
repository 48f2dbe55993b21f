#include "bench/day/FastClock.h"

#include <chrono>

namespace bench
{

using master::Alarm;
using master::Clock;

namespace
{

using Seconds = std::chrono::duration<double>;

class FastAlarm : public Alarm
{
public:
    FastAlarm(std::unique_ptr<Alarm> alarm, Clock::Moment began, double faster)
        : m_alarm(std::move(alarm)), m_began(began), m_faster(faster)
    {
    }

    void Set(Clock::Moment at, std::function<void()> ring) override
    {
        const Seconds passing = Seconds(at - m_began) / m_faster;
        m_alarm->Set(m_began + std::chrono::duration_cast<Clock::Moment::duration>(passing),
                     std::move(ring));
    }

    void Cancel() override
    {
        m_alarm->Cancel();
    }

private:
    std::unique_ptr<Alarm> m_alarm;
    Clock::Moment m_began;
    double m_faster;
};

} // namespace

FastClock::FastClock(boost::asio::io_context &loop, std::int64_t beganNs, double faster)
    : m_clock(loop), m_began(std::chrono::nanoseconds(beganNs)), m_faster(faster)
{
}

Clock::Moment FastClock::Now() const
{
    return AtS(NowS());
}

std::unique_ptr<Alarm> FastClock::MakeAlarm()
{
    return std::make_unique<FastAlarm>(m_clock.MakeAlarm(), m_began, m_faster);
}

double FastClock::NowS() const
{
    return Seconds(m_clock.Now() - m_began).count() * m_faster;
}

Clock::Moment FastClock::AtS(double seconds) const
{
    return m_began + std::chrono::duration_cast<Moment::duration>(Seconds(seconds));
}

} // namespace bench
