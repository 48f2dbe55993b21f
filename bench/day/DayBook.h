#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "bench/day/DayPlan.h"

namespace bench
{

/// What the farm knows of its packets, in a file in memory that two processes share: the nodes go
/// on while the Master is gone.
class DayBook
{
public:
    enum class Stage : std::uint8_t
    {
        Idle,
        Running,
        Over, ///< And the Master has not said yet that it has noted it.
    };

    /// How a run ended.
    enum class Outcome : std::uint8_t
    {
        Good,
        Failed,
        Lost,
    };

    struct Packet
    {
        // Of the day.
        double beganAtS = 0; ///< For the first time; 0 where it never was.
        double endsAtS = 0;  ///< What runs; of what is over, when it ended.
        std::array<char, 36> batch{};
        std::uint32_t element = 0;
        std::uint32_t node = 0;
        Stage stage = Stage::Idle;
        Outcome outcome = Outcome::Good;
        // How often its runs ended so.
        std::uint8_t good = 0;
        std::uint8_t failed = 0;
        std::uint8_t lost = 0;
    };

    /// Of all packets.
    struct Head
    {
        std::int64_t beganNs = 0; ///< Of the steady clock, when the day began.
        std::uint64_t twice = 0;  ///< A packet was begun that ran already.
    };

    /// Opens the file, or makes it where it is not there. Ends the program where it cannot.
    DayBook(const std::string &file, unsigned packets);
    ~DayBook();
    DayBook(const DayBook &) = delete;
    DayBook &operator=(const DayBook &) = delete;

    Head &Common()
    {
        return *static_cast<Head *>(m_memory);
    }
    Packet &At(unsigned packet)
    {
        return reinterpret_cast<Packet *>(static_cast<char *>(m_memory) + sizeof(Head))[packet];
    }

private:
    std::size_t m_bytes;
    void *m_memory = nullptr;
};

} // namespace bench
