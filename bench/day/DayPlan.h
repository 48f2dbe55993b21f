#pragma once

#include <cstdint>
#include <vector>

#include "ostrel/UID.h"

namespace bench
{

using ostrel::UID;

/// How large a day is.
struct DaySize
{
    std::uint64_t seed = 1;
    unsigned jobs = 2'000;
    unsigned packets = 1'000'000; ///< Of all jobs.
    unsigned nodes = 5'000;       ///< Each has one packet at a time.
    double faster = 60;           ///< Seconds of the day in one second.
};

/// One job of the day. Each of its packets is one frame.
struct DayJob
{
    UID id;
    unsigned firstPacket = 0; ///< Packets are numbered through all jobs.
    unsigned packets = 0;
    int priority = 50;
    double arrivesAtS = 0;       ///< Seconds of the day.
    std::vector<unsigned> after; ///< Numbers of earlier jobs; none of them fails.
    bool fails = false;          ///< One of its packets does, however often it is tried.
};

/// What will happen to a packet, whenever it is begun and whoever asks.
struct Fate
{
    static constexpr unsigned k_Always = 255;

    unsigned failures = 0; ///< So many tries fail, then one is good.
    unsigned losses = 0;   ///< So many times its node fails under it first.
    double seconds = 0;    ///< That each try takes.
};

/// A day of a farm, drawn from a seed: the same for the same size, in every process.
class DayPlan
{
public:
    static constexpr double k_DayS = 86'400;

    explicit DayPlan(const DaySize &size);

    const DaySize &Size() const
    {
        return m_size;
    }
    /// In the order in which they arrive.
    const std::vector<DayJob> &Jobs() const
    {
        return m_jobs;
    }
    Fate FateOf(unsigned packet) const;

private:
    void DrawJobs();
    void DrawOrder();

    DaySize m_size;
    double m_meanS;
    std::vector<DayJob> m_jobs;
};

} // namespace bench
