#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <functional>

namespace master
{

/// The sign that the Master's loop goes round: it has the loop take a turn every so often, also
/// where there is nothing to do, and tells the service manager of the turns that were taken.
///
/// Only the end of a turn tells. A loop that hangs, or whose turns fail, says nothing, however well
/// the program's other threads are. Loop thread.
class Pulse
{
public:
    /// `takeTurn` has `NoteTurn` called before long; it is called every second or two, and four
    /// times within the time that the service manager allows.
    Pulse(boost::asio::io_context &loop, std::function<void()> takeTurn);

    /// A turn was taken, and nothing went wrong with it but what it has dealt with.
    void NoteTurn();

private:
    void Wait();

    boost::asio::steady_timer m_timer;
    const std::function<void()> m_takeTurn;
    std::chrono::microseconds m_period;
    const bool m_isWatched;
    std::chrono::steady_clock::time_point m_nextTold;
};

} // namespace master
