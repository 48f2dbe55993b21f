#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <stop_token>
#include <thread>

namespace master
{

/// A thread that does one piece of work after the other. What it has not begun at its end is never
/// done.
class WorkThread
{
public:
    WorkThread();
    /// Waits for the piece that it does.
    ~WorkThread();
    WorkThread(const WorkThread &) = delete;
    WorkThread &operator=(const WorkThread &) = delete;

    /// To be done after all that was added before. From any thread. The work throws nothing.
    void Add(std::function<void()> work);

    /// No more is begun.
    void Stop();

private:
    void Work(const std::stop_token &stop);

    std::mutex m_mutex;
    std::condition_variable_any m_news;
    std::deque<std::function<void()>> m_work;
    std::jthread m_thread;
};

} // namespace master
