#include "bench/day/DrawnRunner.h"

#include <algorithm>
#include <cassert>

namespace bench
{

using master::Command;
using master::EarlierRun;
using master::RunEnd;
using master::RunListener;
using master::RunPlace;
using Stage = DayBook::Stage;
using Outcome = DayBook::Outcome;

namespace
{

constexpr unsigned k_batch = 1000;

std::string TextOf(const DayBook::Packet &packet)
{
    return std::string(packet.batch.begin(), packet.batch.end());
}

RunEnd EndOf(Outcome outcome)
{
    switch (outcome)
    {
    case Outcome::Good:
        return {};
    case Outcome::Failed:
        return {.exitCode = 1};
    case Outcome::Lost:
        break;
    }
    return {.reason = "its node has failed", .isLost = true};
}

} // namespace

DrawnRunner::DrawnRunner(const DayPlan &plan, DayBook &book, FastClock &clock)
    : m_plan(plan), m_book(book), m_clock(clock), m_alarm(clock.MakeAlarm())
{
    std::vector<bool> isTaken(plan.Size().nodes);
    for (const DayJob &job : plan.Jobs())
        m_firstPackets[job.id] = job.firstPacket;
    for (unsigned packet = 0; packet < plan.Size().packets; ++packet)
    {
        const DayBook::Packet &known = book.At(packet);
        if (known.stage == Stage::Idle)
            continue;
        m_earlier[{TextOf(known), known.element}] = packet;
        if (known.stage == Stage::Running)
            isTaken[known.node] = true;
    }
    for (unsigned node = plan.Size().nodes; node-- > 0;)
        if (!isTaken[node])
            m_freeNodes.push_back(node);
}

void DrawnRunner::Begin(const UID & /*master*/, std::function<void()> isAlone)
{
    m_isAlone = true;
    isAlone();
}

int DrawnRunner::FreeSlots() const
{
    return m_isAlone ? int(m_freeNodes.size()) : 0;
}

unsigned DrawnRunner::BatchSize() const
{
    return k_batch;
}

bool DrawnRunner::Start(const Command &command, RunListener &listener, String *error)
{
    const auto job = m_firstPackets.find(command.job);
    if (job == m_firstPackets.end() || m_freeNodes.empty())
    {
        *error = "nobody has drawn this";
        return false;
    }
    m_listener = &listener;
    const unsigned packet = job->second + command.batch->offset + command.batch->element;
    DayBook::Packet &known = m_book.At(packet);
    if (known.stage == Stage::Running)
        ++m_book.Common().twice;
    const String batch = command.batch->batch.ToString();
    std::copy_n(batch.begin(), known.batch.size(), known.batch.begin());
    known.element = command.batch->element;
    known.node = m_freeNodes.back();
    m_freeNodes.pop_back();
    const double nowS = m_clock.NowS();
    known.beganAtS = known.beganAtS == 0 ? nowS : known.beganAtS;
    known.endsAtS = nowS + m_plan.FateOf(packet).seconds;
    known.stage = Stage::Running;
    m_begun.push_back(command.run);
    Expect(command.run, packet, known.endsAtS);
    return true;
}

void DrawnRunner::End(int run)
{
    const auto found = m_packets.find(run);
    if (found == m_packets.end())
        return;
    m_book.At(found->second).endsAtS = m_clock.NowS();
    Expect(run, found->second, m_clock.NowS());
}

// What the store knows and the farm does not was never begun.
void DrawnRunner::Adopt(const EarlierRun &run, RunListener &listener)
{
    m_listener = &listener;
    const auto found = m_earlier.find({std::string(run.place.batch.ToString()), run.place.element});
    if (found == m_earlier.end())
    {
        m_due.push({m_clock.NowS(), run.run});
        return SetAlarm();
    }
    const DayBook::Packet &known = m_book.At(found->second);
    Expect(run.run, found->second, known.stage == Stage::Running ? known.endsAtS : m_clock.NowS());
}

void DrawnRunner::Recorded(int run)
{
    const auto found = m_packets.find(run);
    if (found == m_packets.end())
        return;
    m_book.At(found->second).stage = Stage::Idle;
    m_packets.erase(found);
}

std::optional<RunPlace> DrawnRunner::PlaceOf(int run) const
{
    const auto found = m_packets.find(run);
    if (found == m_packets.end())
        return std::nullopt;
    return PlaceAt(found->second);
}

RunPlace DrawnRunner::PlaceAt(unsigned packet) const
{
    const DayBook::Packet &known = m_book.At(packet);
    return {.node = "n" + std::to_string(known.node),
            .number = TextOf(known).substr(0, 8) + "_" + std::to_string(known.element),
            .state = known.stage == Stage::Running ? "RUNNING" : "COMPLETED",
            .isStarted = true};
}

void DrawnRunner::Expect(int run, unsigned packet, double atS)
{
    m_packets[run] = packet;
    m_due.push({atS, run});
    SetAlarm();
}

void DrawnRunner::SetAlarm()
{
    const double atS = m_begun.empty() ? m_due.top().atS : m_clock.NowS();
    m_alarm->Set(m_clock.AtS(atS), [this] { Ring(); });
}

void DrawnRunner::Ring()
{
    for (const int run : std::exchange(m_begun, {}))
        m_listener->OnStarted(run);
    const double nowS = m_clock.NowS();
    while (!m_due.empty() && m_due.top().atS <= nowS)
    {
        const int run = m_due.top().run;
        m_due.pop();
        TellEnd(run);
    }
    if (!m_due.empty())
        SetAlarm();
}

void DrawnRunner::TellEnd(int run)
{
    const auto found = m_packets.find(run);
    if (found == m_packets.end())
        return m_listener->OnEnded(run, {.isStarted = false, .isLost = true});
    const unsigned packet = found->second;
    const DayBook::Packet &known = m_book.At(packet);
    if (known.stage == Stage::Running)
    {
        m_freeNodes.push_back(known.node);
        Decide(packet);
    }
    RunEnd end = EndOf(known.outcome);
    end.place = PlaceAt(packet);
    m_listener->OnEnded(run, end);
}

void DrawnRunner::Decide(unsigned packet)
{
    DayBook::Packet &known = m_book.At(packet);
    const Fate fate = m_plan.FateOf(packet);
    known.stage = Stage::Over;
    if (known.lost < fate.losses)
    {
        ++known.lost;
        known.outcome = Outcome::Lost;
    }
    else if (fate.failures == Fate::k_Always || known.failed < fate.failures)
    {
        ++known.failed;
        known.outcome = Outcome::Failed;
    }
    else
    {
        ++known.good;
        known.outcome = Outcome::Good;
    }
}

} // namespace bench
