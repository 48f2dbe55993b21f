#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>

namespace master
{

class Session;

/// Has the sessions write what waits for their clients: one after the other, at a measured pace.
///
/// A message costs the Master some 30 microseconds of a processor and its reader as much, however
/// little it says. Who stands in line is written all that waits for him in one message, so each
/// holds the more the longer the line is, and what a thousand followers cost depends on the pace
/// and not on how much there is to tell. A short line is no wait at all.
///
/// A thread of its own does the writing.
class Courier
{
public:
    /// `pace`: from one message to the next.
    explicit Courier(std::chrono::microseconds pace);
    /// Nobody in line is written to any more.
    ~Courier();
    Courier(const Courier &) = delete;
    Courier &operator=(const Courier &) = delete;

    /// Puts a session at the end of the line; it is told `WriteInTurn` once. Any thread.
    void Join(std::shared_ptr<Session> session);

private:
    using Clock = std::chrono::steady_clock;

    void Run();

    const std::chrono::microseconds m_pace;
    std::mutex m_mutex;                          // Guards the two below.
    std::deque<std::shared_ptr<Session>> m_line; // Shared with the streams themselves.
    bool m_isStopping = false;
    std::condition_variable m_changed;
    std::thread m_thread;
};

} // namespace master
