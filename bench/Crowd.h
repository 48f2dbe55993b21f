#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "ostrel/Descriptor.h"

namespace bench
{

/// How long messages took, counted by the millisecond. Any thread.
class Times
{
public:
    void Add(std::int64_t ns);

    std::uint64_t Count() const
    {
        return m_count;
    }

    /// Milliseconds within which this share of all has come, rounded up; 0 where none has.
    int Within(double share) const;

private:
    std::array<std::atomic<std::uint64_t>, 60'000> m_byMs{};
    std::atomic<std::uint64_t> m_count = 0;
};

/// What has reached a crowd. Any thread.
class Arrivals
{
public:
    /// `changes` will be sent. Those of its beginning and its end, `perEnd` each, are counted apart
    /// as well.
    Arrivals(std::uint64_t changes, std::uint64_t perEnd) : m_changes(changes), m_perEnd(perEnd) {}

    /// Change `number`, from 1, that was sent at `sentNs` of the steady clock.
    void Add(std::uint64_t number, std::int64_t sentNs);

    Times all;
    Times first;
    Times last;
    std::atomic<std::uint64_t> messages = 0;   ///< That brought changes; one may bring several.
    std::atomic<std::uint64_t> outOfOrder = 0; ///< Not the number that follows the last one.
    std::atomic<std::uint64_t> gone = 0;       ///< Connections that ended.

private:
    const std::uint64_t m_changes;
    const std::uint64_t m_perEnd;
};

/// Clients that follow one job, each with a connection of its own. A thread reads for all of them.
class Crowd
{
public:
    /// Connects; returns when all of them follow, and ends the program where that takes minutes.
    /// `arrivals` counts what reaches them, and outlives the crowd.
    Crowd(const std::string &socketFile, const std::string &job, std::size_t clients,
          Arrivals &arrivals);
    /// Hangs up.
    ~Crowd();
    Crowd(const Crowd &) = delete;
    Crowd &operator=(const Crowd &) = delete;

private:
    class Member;

    void Read();

    Arrivals &m_arrivals;
    std::atomic<std::size_t> m_following = 0;
    std::vector<std::unique_ptr<Member>> m_members;
    const ostrel::Descriptor m_poll;
    std::atomic<bool> m_isEnding = false;
    std::jthread m_reader;
};

/// Name of the parameter whose changes a crowd counts.
inline constexpr const char *k_ChangeName = "Tick";

/// The value of change `number`, sent now: both are read from it.
std::string ChangeValue(std::uint64_t number);

} // namespace bench
