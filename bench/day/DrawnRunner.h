#pragma once

#include <map>
#include <memory>
#include <queue>
#include <string>
#include <vector>

#include "bench/day/DayBook.h"
#include "bench/day/DayPlan.h"
#include "bench/day/FastClock.h"
#include "master/run/CommandRunner.h"

namespace bench
{

using ostrel::String;

/// A farm that runs nothing: how long each packet takes and how it ends is drawn. What runs on it
/// outlives the Master, as with a cluster. Loop thread.
class DrawnRunner : public master::CommandRunner
{
public:
    /// All of them outlive it.
    DrawnRunner(const DayPlan &plan, DayBook &book, FastClock &clock);

    void Begin(const UID &master, std::function<void()> isAlone) override;
    int FreeSlots() const override;
    bool Start(const master::Command &command, master::RunListener &listener,
               String *error) override;
    /// A run that is told to end is lost with the next turn.
    void End(int run) override;
    unsigned BatchSize() const override;
    void Adopt(const master::EarlierRun &run, master::RunListener &listener) override;
    void Recorded(int run) override;
    std::optional<master::RunPlace> PlaceOf(int run) const override;

private:
    struct Due
    {
        double atS = 0;
        int run = 0;

        friend bool operator>(const Due &one, const Due &other)
        {
            return one.atS > other.atS;
        }
    };

    void Expect(int run, unsigned packet, double atS);
    void SetAlarm();
    void Ring();
    void TellEnd(int run);
    void Decide(unsigned packet);
    master::RunPlace PlaceAt(unsigned packet) const;

    const DayPlan &m_plan;
    DayBook &m_book;
    FastClock &m_clock;
    std::unique_ptr<master::Alarm> m_alarm;
    master::RunListener *m_listener = nullptr;
    std::map<UID, unsigned> m_firstPackets;
    std::map<std::pair<std::string, unsigned>, unsigned> m_earlier; // Packets by their places.
    std::vector<std::uint32_t> m_freeNodes;
    std::map<int, unsigned> m_packets; // Of the runs.
    std::vector<int> m_begun;          // And nobody was told of it yet.
    std::priority_queue<Due, std::vector<Due>, std::greater<>> m_due;
    bool m_isAlone = false;
};

} // namespace bench
