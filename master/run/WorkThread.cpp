#include "master/run/WorkThread.h"

#include <utility>

#include "ostrel/CallEntry.h"

namespace master
{

using ostrel::_CallEntry;

WorkThread::WorkThread() : m_thread([this](const std::stop_token &stop) { Work(stop); })
{
    _CallEntry call("WorkThread::WorkThread", __FILE__, __LINE__);
}

WorkThread::~WorkThread()
{
    _CallEntry call("WorkThread::~WorkThread", __FILE__, __LINE__);

    Stop();
}

void WorkThread::Add(std::function<void()> work)
{
    _CallEntry call("WorkThread::Add", __FILE__, __LINE__);

    const std::lock_guard lock(m_mutex);
    m_work.push_back(std::move(work));
    m_news.notify_one();
}

void WorkThread::Stop()
{
    _CallEntry call("WorkThread::Stop", __FILE__, __LINE__);

    m_thread.request_stop();
}

void WorkThread::Work(const std::stop_token &stop)
{
    for (;;)
    {
        std::function<void()> work;
        {
            std::unique_lock lock(m_mutex);
            if (!m_news.wait(lock, stop, [this] { return !m_work.empty(); }) ||
                stop.stop_requested())
                return;
            work = std::move(m_work.front());
            m_work.pop_front();
        }
        work();
    }
}

} // namespace master
