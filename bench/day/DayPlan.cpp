#include "bench/day/DayPlan.h"

#include <algorithm>
#include <cmath>
#include <random>

#include "tests/simulation/Chance.h"

namespace bench
{

namespace
{

// What the farm has to do, of what it could in a day.
constexpr double k_load = 0.85;
// Of the jobs, in percent: there from the beginning, waiting for others.
constexpr unsigned k_early = 20;
constexpr unsigned k_dependent = 30;
// The last job arrives so early that the day has an end.
constexpr double k_last_arrival_s = 18 * 3600;
constexpr unsigned k_most_after = 3;
constexpr unsigned k_least_packets = 20;
// Of a million packets.
constexpr unsigned k_bad = 100;
constexpr unsigned k_flaky = 10'000;
constexpr unsigned k_lost = 2'000;

// Well spread numbers from a counter: the finaliser of SplitMix64 (Steele, Lea, Flood 2014).
std::uint64_t Spread(std::uint64_t value)
{
    value += 0x9e3779b97f4a7c15u;
    value = (value ^ (value >> 30)) * 0xbf58476d1ce4e5b9u;
    value = (value ^ (value >> 27)) * 0x94d049bb133111ebu;
    return value ^ (value >> 31);
}

} // namespace

DayPlan::DayPlan(const DaySize &size)
    : m_size(size), m_meanS(k_load * k_DayS * size.nodes / size.packets)
{
    DrawJobs();
    DrawOrder();
}

// Few are long, most are short.
void DayPlan::DrawJobs()
{
    simulation::Chance chance(m_size.seed);
    std::vector<double> weights;
    double sum = 0;
    for (unsigned job = 0; job < m_size.jobs; ++job)
    {
        weights.push_back(1.0 / (0.05 + chance.Below(1000) / 1000.0));
        sum += weights.back();
    }
    const unsigned spare = m_size.packets - m_size.jobs * k_least_packets;
    unsigned first = 0;
    for (unsigned job = 0; job < m_size.jobs; ++job)
    {
        const bool isLast = job + 1 == m_size.jobs;
        DayJob one;
        one.id = chance.NewID();
        one.firstPacket = first;
        one.packets = isLast ? m_size.packets - first
                             : k_least_packets + unsigned(spare * (weights[job] / sum));
        one.priority = int(10 * chance.Between(3, 7));
        for (unsigned packet = first; packet < first + one.packets; ++packet)
            one.fails = one.fails || FateOf(packet).failures == Fate::k_Always;
        first += one.packets;
        m_jobs.push_back(one);
    }
}

void DayPlan::DrawOrder()
{
    simulation::Chance chance(m_size.seed + 1);
    for (DayJob &job : m_jobs)
        if (!chance.Percent(k_early))
            job.arrivesAtS = k_last_arrival_s * chance.Below(1'000'000) / 1e6;
    std::stable_sort(m_jobs.begin(), m_jobs.end(),
                     [](const DayJob &one, const DayJob &other)
                     { return one.arrivesAtS < other.arrivesAtS; });
    for (unsigned number = 1; number < m_jobs.size(); ++number)
    {
        if (!chance.Percent(k_dependent))
            continue;
        for (unsigned left = chance.Between(1, k_most_after); left > 0; --left)
        {
            const unsigned other = chance.Below(number);
            std::vector<unsigned> &after = m_jobs[number].after;
            if (!m_jobs[other].fails && std::find(after.begin(), after.end(), other) == after.end())
                after.push_back(other);
        }
    }
}

Fate DayPlan::FateOf(unsigned packet) const
{
    const std::uint64_t kind = Spread(m_size.seed * 0x10001 + packet);
    const std::uint64_t more = Spread(kind);
    Fate fate;
    const auto drawn = unsigned(kind % 1'000'000);
    if (drawn < k_bad)
        fate.failures = Fate::k_Always;
    else if (drawn < k_bad + k_flaky)
        fate.failures = 1 + unsigned(more % 2);
    if ((kind >> 40) % 1'000'000 < k_lost)
        fate.losses = 1;
    // From a tenth of the mean to ten times as much; the tail is what a farm waits for.
    const double part = double(more >> 12) / double(1ull << 52);
    fate.seconds = m_meanS * std::min(10.0, 0.1 - 0.9 * std::log(1.0 - part));
    return fate;
}

} // namespace bench
