#include "master/run/SlowWork.h"

#include <boost/asio/post.hpp>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>

#include "ostrel/CallEntry.h"

namespace master
{

using ostrel::_CallEntry;

namespace
{

// What does not hang is over by then.
constexpr std::chrono::milliseconds k_last_patience{500};

} // namespace

struct SlowThread::State
{
    std::mutex mutex;
    std::condition_variable news;
    std::deque<Work> work;
    bool isGone = false; // Nobody wants anything any more.
    bool isOver = false; // The thread has ended.
};

SlowThread::SlowThread(boost::asio::io_context &loop)
    : m_loop(loop), m_state(std::make_shared<State>())
{
    _CallEntry call("SlowThread::SlowThread", __FILE__, __LINE__);
}

SlowThread::~SlowThread()
{
    _CallEntry call("SlowThread::~SlowThread", __FILE__, __LINE__);

    std::unique_lock lock(m_state->mutex);
    m_state->isGone = true;
    m_state->news.notify_all();
    if (m_isBegun)
        m_state->news.wait_for(lock, k_last_patience, [this] { return m_state->isOver; });
}

void SlowThread::Do(Work work)
{
    _CallEntry call("SlowThread::Do", __FILE__, __LINE__);

    const std::lock_guard lock(m_state->mutex);
    m_state->work.push_back(std::move(work));
    m_state->news.notify_all();
    if (!std::exchange(m_isBegun, true))
        std::thread([state = m_state, &loop = m_loop] { DoAll(state, loop); }).detach();
}

// The loop is there as long as somebody wants something.
void SlowThread::DoAll(const std::shared_ptr<State> &state, boost::asio::io_context &loop)
{
    std::unique_lock lock(state->mutex);
    for (;;)
    {
        state->news.wait(lock, [&] { return state->isGone || !state->work.empty(); });
        if (state->isGone)
            break;
        const Work work = std::move(state->work.front());
        state->work.pop_front();
        lock.unlock();
        std::function<void()> done = work();
        lock.lock();
        if (state->isGone)
            break;
        boost::asio::post(loop,
                          [state, done = std::move(done)]
                          {
                              if (!state->isGone)
                                  done();
                          });
    }
    state->isOver = true;
    state->news.notify_all();
}

} // namespace master
