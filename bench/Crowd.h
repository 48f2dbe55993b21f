#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace bench
{

/// What has reached a crowd. Any thread.
class Arrivals
{
public:
    /// One message that was sent at `sentNs` of the steady clock.
    void Add(std::int64_t sentNs);

    std::uint64_t Count() const
    {
        return m_count;
    }

    /// Milliseconds within which this share of all has come, rounded up; 0 where none has.
    int Within(double share) const;

    std::atomic<std::uint64_t> outOfOrder = 0; ///< Not the number that follows the last one.
    std::atomic<std::uint64_t> gone = 0;       ///< Connections that ended.

private:
    std::array<std::atomic<std::uint64_t>, 60'000> m_byMs{};
    std::atomic<std::uint64_t> m_count = 0;
};

/// Clients that follow one job, each with a connection of its own.
class Crowd
{
public:
    /// Connects; returns when all of them follow, and ends the program where that takes minutes.
    Crowd(const std::string &address, const std::string &job, std::size_t clients);
    /// Hangs up.
    ~Crowd();
    Crowd(const Crowd &) = delete;
    Crowd &operator=(const Crowd &) = delete;

    Arrivals &What()
    {
        return m_arrivals;
    }

private:
    class Member;

    Arrivals m_arrivals;
    std::atomic<std::size_t> m_following = 0;
    std::vector<std::unique_ptr<Member>> m_members;
};

/// Name of the parameter whose changes a crowd counts.
inline constexpr const char *k_ChangeName = "Tick";

/// The value of change `number`, sent now: both are read from it.
std::string ChangeValue(std::uint64_t number);

/// Nanoseconds of the steady clock.
inline std::int64_t NowNs()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

} // namespace bench
