#pragma once

#include <boost/asio/io_context.hpp>

#include "master/loop/Clock.h"

namespace master
{

/// The system's own clock; the alarms are timers of the loop.
class LoopClock : public AlarmClock
{
public:
    explicit LoopClock(boost::asio::io_context &loop) : m_loop(loop) {}

    Moment Now() const override;
    std::unique_ptr<Alarm> MakeAlarm() override;

private:
    boost::asio::io_context &m_loop;
};

} // namespace master
