#include "ostrel/DiskThreads.h"

#include <algorithm>
#include <boost/asio/post.hpp>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "ostrel/Attempt.h"

namespace ostrel
{

namespace
{

constexpr std::chrono::seconds k_end_time(1);
/// Of the shorter of two times: how often it is looked whether one is over.
constexpr int k_looks = 5;

std::atomic<std::size_t> s_left = 0;

} // namespace

struct DiskThreads::Shared
{
    std::mutex mutex; // Over all but `owner`, which is the loop's.
    std::condition_variable hasEnded;
    boost::asio::io_context *loop = nullptr; // Null once nobody waits any more.
    DiskThreads *owner = nullptr;            // As well.
    std::size_t threads = 0;
    bool isLeft = false;

    void Post(std::function<void()> action)
    {
        const std::lock_guard lock(mutex);
        if (loop)
            boost::asio::post(*loop, std::move(action));
    }
    void Enter()
    {
        const std::lock_guard lock(mutex);
        ++threads;
    }
    void Leave()
    {
        const std::lock_guard lock(mutex);
        --threads;
        if (isLeft)
            --s_left;
        hasEnded.notify_all();
    }
};

void DiskThreads::Course::Note()
{
    m_at = Clock::now().time_since_epoch().count();
}

void DiskThreads::Course::Tell(std::function<void()> action)
{
    m_shared->Post(
        [shared = m_shared, action = std::move(action)]
        {
            if (shared->owner)
                action();
        });
}

DiskThreads::DiskThreads(boost::asio::io_context &loop, DiskThreadLimits limits)
    : m_loop(loop), m_limits(limits), m_timer(loop), m_shared(std::make_shared<Shared>())
{
    m_shared->loop = &loop;
    m_shared->owner = this;
}

DiskThreads::~DiskThreads()
{
    m_shared->owner = nullptr;
    std::unique_lock lock(m_shared->mutex);
    m_shared->loop = nullptr;
    if (m_shared->hasEnded.wait_for(lock, k_end_time, [this] { return m_shared->threads == 0; }))
        return;
    m_shared->isLeft = true;
    s_left += m_shared->threads;
}

bool DiskThreads::AreLeft()
{
    return s_left > 0;
}

std::size_t DiskThreads::Waiting() const
{
    return std::size_t(
        std::ranges::count_if(m_running, [](const auto &each) { return each.second.isWaiting; }));
}

void DiskThreads::Begin(Work work, Ends ends)
{
    m_queue.emplace_back(std::move(work), std::move(ends));
    GiveThreads();
}

void DiskThreads::GiveThreads()
{
    while (!m_queue.empty() && m_running.size() - Waiting() < m_limits.atOnce)
    {
        auto [work, ends] = std::move(m_queue.front());
        m_queue.pop_front();
        Start(std::move(work), std::move(ends));
    }
}

void DiskThreads::Start(Work work, Ends ends)
{
    const std::uint64_t number = ++m_last;
    const auto course = std::shared_ptr<Course>(new Course(m_shared));
    course->Note();
    m_running[number] = {std::move(ends), course, false, m_limits.late};
    m_shared->Enter();
    const auto reason = Attempt(
        [&]
        {
            std::thread(
                [number, course, shared = m_shared, work = std::move(work)]() mutable
                {
                    const auto wrong = Attempt([&] { work(*course); });
                    work = nullptr;
                    shared->Post(
                        [shared, number, wrong]
                        {
                            if (shared->owner)
                                shared->owner->OnEnded(number, wrong);
                        });
                    shared->Leave();
                })
                .detach();
        });
    if (reason)
    {
        m_shared->Leave();
        // Who asks is not answered before he has asked.
        m_shared->Post(
            [shared = m_shared, number, reason]
            {
                if (shared->owner)
                    shared->owner->OnEnded(number, "no thread can be started: " + *reason);
            });
    }
    Watch();
}

void DiskThreads::OnEnded(std::uint64_t number, const std::optional<String> &reason)
{
    const auto found = m_running.find(number);
    const Running ended = std::move(found->second);
    m_running.erase(found);
    GiveThreads();
    if (reason)
        ended.ends.failed(*reason);
    else
        ended.ends.done();
}

void DiskThreads::Watch()
{
    if (m_isWatching || m_running.empty())
        return;
    m_isWatching = true;
    m_timer.expires_after(std::min(m_limits.waits, m_limits.late) / k_looks);
    m_timer.async_wait(
        [shared = m_shared](const boost::system::error_code &error)
        {
            if (error || !shared->owner)
                return;
            shared->owner->m_isWatching = false;
            shared->owner->LookForLate();
        });
}

void DiskThreads::LookForLate()
{
    std::vector<std::pair<Late, std::chrono::seconds>> late;
    for (auto &[number, running] : m_running)
    {
        const Clock::time_point at{Clock::duration(running.course->m_at.load())};
        const auto idle = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - at);
        running.isWaiting = idle >= m_limits.waits;
        if (idle < m_limits.late)
            running.nextLate = m_limits.late;
        else if (idle >= running.nextLate)
        {
            running.nextLate *= 2;
            late.emplace_back(running.ends.late,
                              std::chrono::duration_cast<std::chrono::seconds>(idle));
        }
    }
    Watch();
    GiveThreads();
    // Whoever is told may have more to do, and then this is not the same any more.
    for (const auto &[tell, since] : late)
        tell(since);
}

} // namespace ostrel
