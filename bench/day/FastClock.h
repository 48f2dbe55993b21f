#pragma once

#include <cstdint>

#include "master/loop/LoopClock.h"

namespace bench
{

/// The system's clock, so many times faster. Its moments count from when the day began, so that a
/// Master that is started again goes on in the same day. Loop thread.
class FastClock : public master::AlarmClock
{
public:
    /// `beganNs` is of the steady clock.
    FastClock(boost::asio::io_context &loop, std::int64_t beganNs, double faster);

    Moment Now() const override;
    std::unique_ptr<master::Alarm> MakeAlarm() override;

    /// Seconds of the day.
    double NowS() const;
    Moment AtS(double seconds) const;

private:
    master::LoopClock m_clock;
    Moment m_began;
    double m_faster;
};

} // namespace bench
