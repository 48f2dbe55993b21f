#include "master/door/Courier.h"

#include <algorithm>

#include "master/door/Session.h"

namespace master
{

namespace
{

// So far the writing may run ahead of the pace before it waits: shorter waits are not worth it.
constexpr std::chrono::milliseconds k_ahead{1};
// What was not used by then is not made up for.
constexpr std::chrono::milliseconds k_behind{10};

} // namespace

Courier::Courier(std::chrono::microseconds pace) : m_pace(pace)
{
    m_thread = std::thread([this] { Run(); });
}

Courier::~Courier()
{
    {
        const std::lock_guard lock(m_mutex);
        m_isStopping = true;
        m_changed.notify_all();
    }
    m_thread.join();
}

void Courier::Join(std::shared_ptr<Session> session)
{
    const std::lock_guard lock(m_mutex);
    m_line.push_back(std::move(session));
    if (m_line.size() == 1)
        m_changed.notify_all();
}

void Courier::Run()
{
    Clock::time_point due;
    Gathering gathering;
    std::unique_lock lock(m_mutex);
    for (;;)
    {
        m_changed.wait(lock, [this] { return m_isStopping || !m_line.empty(); });
        due = std::max(due, Clock::now() - k_behind);
        if (due > Clock::now() + k_ahead)
            m_changed.wait_until(lock, due, [this] { return m_isStopping; });
        if (m_isStopping)
            return;
        due += m_pace;
        std::shared_ptr<Session> next = std::move(m_line.front());
        m_line.pop_front();

        lock.unlock();
        next->WriteInTurn(gathering);
        next.reset();
        lock.lock();
    }
}

} // namespace master
