#pragma once

#include <atomic>
#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>

#include "ostrel/String.h"

namespace ostrel
{

struct DiskThreadLimits
{
    unsigned atOnce = 4;                    ///< Pieces of work that get on.
    std::chrono::milliseconds waits{1000};  ///< One that did not get on for so long waits.
    std::chrono::milliseconds late{10'000}; ///< After so long that is told.
};

/// Threads for what a disk or a network may never answer: a share whose server is gone holds
/// whoever looks at it, and nothing gets a thread out of that.
///
/// Each piece of work has a thread of its own. One that waits leaves its place to the next, so what
/// hangs keeps nobody else from anything. There is no bound to those that wait: whoever asks looks
/// at `Waiting`.
///
/// Loop thread, but for what is said otherwise.
class DiskThreads
{
public:
    using Clock = std::chrono::steady_clock;

private:
    struct Shared;

public:
    /// How a piece of work gets on. Its own thread, which says so now and then.
    class Course
    {
    public:
        /// It has got on.
        void Note();
        /// Calls `action` on the loop, as long as somebody is there who waits for the end of the
        /// work. It is destroyed on any thread.
        void Tell(std::function<void()> action);

    private:
        friend DiskThreads;

        explicit Course(std::shared_ptr<Shared> shared) : m_shared(std::move(shared)) {}

        const std::shared_ptr<Shared> m_shared; // With all threads and the loop.
        std::atomic<Clock::rep> m_at = 0;       // When it last got on.
    };

    using Failed = std::function<void(const String &reason)>;
    using Late = std::function<void(std::chrono::seconds since)>;

    /// `loop` outlives this.
    explicit DiskThreads(boost::asio::io_context &loop, DiskThreadLimits limits = {});
    /// Nobody is told anything more. Threads that do not end within a second are left behind: see
    /// `AreLeft`.
    ~DiskThreads();
    DiskThreads(const DiskThreads &) = delete;
    DiskThreads &operator=(const DiskThreads &) = delete;

    /// Calls `work` on a thread, and then `done` with what it gave on the loop. `work` throws
    /// `Exception *` or one of the standard library's, whose text `failed` is given in place of
    /// that. Where the work does not get on, `late` is called, and again each time that it has
    /// lasted twice as long; what comes in the end is told all the same.
    ///
    /// What `work` holds, and what it gives, is destroyed on any thread, perhaps never.
    template <typename Result>
    void Do(std::function<Result(Course &)> work, std::function<void(Result)> done, Failed failed,
            Late late)
    {
        const auto result = std::make_shared<std::optional<Result>>();
        Begin([result, work = std::move(work)](Course &course) { *result = work(course); },
              {[result, done = std::move(done)] { done(std::move(**result)); }, std::move(failed),
               std::move(late)});
    }

    /// Pieces of work that do not get on.
    std::size_t Waiting() const;

    /// Whether threads were left behind that have not ended. A program that ends then has to leave
    /// by `_exit`: they may wake up at any time. Any thread.
    static bool AreLeft();

private:
    using Work = std::function<void(Course &)>;

    struct Ends
    {
        std::function<void()> done;
        Failed failed;
        Late late;
    };
    struct Running
    {
        Ends ends;
        std::shared_ptr<Course> course; // With its thread.
        bool isWaiting = false;
        std::chrono::milliseconds nextLate;
    };

    void Begin(Work work, Ends ends);
    void GiveThreads();
    void Start(Work work, Ends ends);
    void OnEnded(std::uint64_t number, const std::optional<String> &reason);
    void Watch();
    void LookForLate();

    boost::asio::io_context &m_loop;
    const DiskThreadLimits m_limits;
    std::uint64_t m_last = 0; // Number of the last one that was started.
    std::map<std::uint64_t, Running> m_running;
    std::deque<std::pair<Work, Ends>> m_queue;
    boost::asio::steady_timer m_timer;
    bool m_isWatching = false;
    std::shared_ptr<Shared> m_shared; // With all threads, which outlive this where they hang.
};

} // namespace ostrel
