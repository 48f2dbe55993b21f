#include "analysis/FrameLooks.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <sched.h>
#include <sys/resource.h>
#include <thread>
#include <vector>

namespace analysis
{

namespace
{

using Clock = std::chrono::steady_clock;

constexpr std::size_t k_first_batch = 2;
constexpr std::size_t k_batch = 32;
/// Shorter looks are the disk cache's, whatever the thread was doing.
constexpr std::chrono::microseconds k_long_look{50};
constexpr std::chrono::milliseconds k_between_news{100};
/// Of crew: as many as there are times as many again.
constexpr unsigned k_growth = 3;

/// How often this thread has slept so far to wait for something. Being pushed aside by others does
/// not count.
long Waits()
{
    rusage usage{};
    getrusage(RUSAGE_THREAD, &usage);
    return usage.ru_nvcsw;
}

/// Moves this thread to the processor of its number, where it may also be moved away again. While
/// other programs keep all processors busy, the system starts a thread beside its maker, and would
/// take longer than all the looks do to find that they share one processor.
void MoveToProcessor(unsigned number)
{
    cpu_set_t all;
    if (sched_getaffinity(0, sizeof all, &all) != 0 || CPU_COUNT(&all) < 2)
        return;

    unsigned toSkip = number % unsigned(CPU_COUNT(&all));
    int processor = 0;
    while (!CPU_ISSET(processor, &all) || toSkip-- > 0)
        ++processor;
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(processor, &one);
    if (sched_setaffinity(0, sizeof one, &one) == 0)
        sched_setaffinity(0, sizeof all, &all);
}

String Reason(const Path &file, int error)
{
    return "cannot look into " + file.Parent().Text() + " for " + file.Leaf(true) + ": " +
           std::strerror(error);
}

/// The threads that look, and what they share.
class Crew
{
public:
    Crew(const FrameNames &names, const MakeNameFinder &makeFinder, std::span<FrameRecord> frames)
        : m_names(names), m_makeFinder(makeFinder), m_frames(frames)
    {
    }

    String Run(const LooksDone &done)
    {
        const std::size_t useful = (m_frames.size() + k_batch - 1) / k_batch;
        Grow(unsigned(std::min<std::size_t>(std::max(std::thread::hardware_concurrency(), 1u),
                                            std::max<std::size_t>(useful, 1))));
        ReportUntilOver(done);
        m_lookers.clear(); // Joined here; nobody adds to them any more.
        return m_reason;
    }

private:
    void Grow(unsigned by)
    {
        const std::lock_guard lock(m_mutex);
        for (; by > 0 && m_lookers.size() < k_MostLookers && !IsOver(); --by)
        {
            ++m_working;
            m_lookers.emplace_back(
                [this, number = unsigned(m_lookers.size())]
                {
                    MoveToProcessor(number);
                    LookUntilOver();
                });
        }
    }

    bool IsOver() const
    {
        return m_next.load(std::memory_order_relaxed) >= m_frames.size();
    }

    void LookUntilOver()
    {
        const std::unique_ptr<NameFinder> finder = m_makeFinder();
        std::string name;
        long waits = Waits();
        std::size_t size = k_first_batch;
        for (;;)
        {
            const std::size_t first = m_next.fetch_add(size, std::memory_order_relaxed);
            if (first >= m_frames.size())
                break;
            const std::span<FrameRecord> batch =
                m_frames.subspan(first, std::min(size, m_frames.size() - first));

            const auto start = Clock::now();
            LookAtBatch(batch, *finder, name);
            m_done.fetch_add(batch.size(), std::memory_order_relaxed);
            if (Clock::now() - start >= k_long_look * batch.size())
                GrowWhereItWaited(batch.size(), waits);
            size = k_batch;
        }
        Leave();
    }

    void LookAtBatch(std::span<FrameRecord> batch, NameFinder &finder, std::string &name)
    {
        for (FrameRecord &frame : batch)
        {
            FileLook look;
            m_names.Write(frame.frame, name);
            if (const int error = finder.Look(name, look); error != 0)
            {
                Refuse(name, error);
                return;
            }
            StoreLook(frame, look);
        }
    }

    void GrowWhereItWaited(std::size_t looks, long &waitsBefore)
    {
        const long waits = Waits();
        if (waits - waitsBefore >= long(looks))
        {
            std::size_t crew = 0;
            {
                const std::lock_guard lock(m_mutex);
                crew = m_lookers.size();
            }
            Grow(unsigned(crew) * k_growth);
        }
        waitsBefore = waits;
    }

    void Refuse(const std::string &name, int error)
    {
        m_next.store(m_frames.size(), std::memory_order_relaxed); // Nobody takes more.
        const std::lock_guard lock(m_mutex);
        if (m_reason.empty())
            m_reason = Reason(m_names.Folder() / name, error);
    }

    void Leave()
    {
        const std::lock_guard lock(m_mutex);
        if (--m_working == 0)
            m_isOver.notify_one();
    }

    void ReportUntilOver(const LooksDone &done)
    {
        std::unique_lock lock(m_mutex);
        while (!m_isOver.wait_for(lock, k_between_news, [this] { return m_working == 0; }))
        {
            lock.unlock();
            done(m_done.load(std::memory_order_relaxed));
            lock.lock();
        }
    }

    const FrameNames &m_names;
    const MakeNameFinder &m_makeFinder;
    const std::span<FrameRecord> m_frames;

    std::atomic<std::size_t> m_next = 0;
    std::atomic<std::size_t> m_done = 0;

    std::mutex m_mutex; ///< Over all that follows.
    std::condition_variable m_isOver;
    unsigned m_working = 0;
    String m_reason;
    std::vector<std::jthread> m_lookers; ///< Last: they use all the rest.
};

} // namespace

String LookAtFrames(const FrameNames &names, const MakeNameFinder &makeFinder,
                    std::span<FrameRecord> frames, const LooksDone &done)
{
    if (frames.empty())
        return {};
    return Crew(names, makeFinder, frames).Run(done);
}

} // namespace analysis
