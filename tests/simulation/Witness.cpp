#include "tests/simulation/Witness.h"

#include <algorithm>
#include <cstdlib>
#include <tuple>

#include "analysis/Expansion.h"
#include "corvan/AfterJobs.h"
#include "corvan/JobStatus.h"
#include "corvan/Parameters.h"

namespace simulation
{

using corvan::JobStatus;

namespace
{

std::string ValueIn(const std::map<String, String> &values, const String &name)
{
    const auto found = values.find(name);
    return found == values.end() ? std::string() : std::string(found->second);
}

JobStatus StatusOfValues(const std::map<String, String> &values)
{
    return JobStatus(std::atoi(ValueIn(values, corvan::p_Status).c_str()));
}

// When the packet of a number is begun, of so many: the less, the sooner.
std::tuple<int, int> PlaceIn(const std::string &order, int number, int count)
{
    if (order == "middle")
    {
        const int middle = (count - 1) / 2;
        return {std::abs(number - middle), number < middle ? 1 : 0};
    }
    if (!order.starts_with("ends:"))
        return {0, number};
    const int step = std::atoi(order.c_str() + 5);
    const int rank = number == 0 ? 0 : (number == count - 1 ? 1 : (number % step == 0 ? 2 : 3));
    return {rank, number};
}

} // namespace

void Witness::Hear(const corvan::Message &message)
{
    if (const auto *job = dynamic_cast<const corvan::JobMsg *>(&message))
    {
        Values &values = m_jobs[job->job->ID()];
        values.clear();
        for (const auto &[name, value] : job->job->Parameters())
            values[name] = value;
    }
    else if (const auto *change = dynamic_cast<const corvan::JobParameterMsg *>(&message))
    {
        if (const auto found = m_jobs.find(change->job); found != m_jobs.end())
            found->second[change->name] = change->value;
    }
    else if (const auto *removal = dynamic_cast<const corvan::JobRemovedMsg *>(&message))
    {
        if (const auto found = m_jobs.find(removal->job); found != m_jobs.end())
            m_gone[removal->job] = StatusOfValues(found->second) == JobStatus::Done;
        m_jobs.erase(removal->job);
    }
}

void Witness::HearAll(const Jobs &jobs, const Tasks &tasks)
{
    m_jobs.clear();
    for (const boost::shared_ptr<corvan::Job> &job : jobs)
        for (const auto &[name, value] : job->Parameters())
            m_jobs[job->ID()][name] = value;
    for (const auto &[job, list] : tasks)
        for (const corvan::TaskInfo &task : list.tasks)
            if (task.tries > 0)
            {
                m_begun.insert(job);
                m_packets[job].insert({task.firstFrame, task.lastFrame});
            }
}

void Witness::See(const UID &job, int firstFrame, int lastFrame)
{
    const auto found = m_jobs.find(job);
    if (found == m_jobs.end())
        return m_verdict.Wrong("a command of a job begins that nobody was told of: " +
                               job.ToString());
    CheckWaiting(job, found->second);
    CheckOrder(job, found->second, {firstFrame, lastFrame});
    CheckTurn(job, found->second);
    m_begun.insert(job);
    m_packets[job].insert({firstFrame, lastFrame});
}

void Witness::SeeRefusal()
{
    m_refused = m_agenda.Now();
}

// Those that are gone without its being known how are not held against it.
bool Witness::MayBegin(const Values &values, std::string *why) const
{
    const std::vector<UID> others = corvan::ReadAfterJobs(ValueIn(values, corvan::p_After)).value();
    for (const UID &other : others)
    {
        const auto found = m_jobs.find(other);
        const auto gone = m_gone.find(other);
        const bool isDone = found != m_jobs.end() ? StatusOfValues(found->second) == JobStatus::Done
                                                  : gone == m_gone.end() || gone->second;
        if (isDone)
            continue;
        *why = other.ToString();
        return false;
    }
    return true;
}

void Witness::CheckWaiting(const UID &job, const Values &values)
{
    if (m_begun.contains(job))
        return;
    std::string why;
    if (!MayBegin(values, &why))
        m_verdict.Wrong("job " + job.ToString() + " begins before job " + why + " is done");
    m_waited += ValueIn(values, corvan::p_After).empty() ? 0 : 1;
}

std::vector<Witness::Frames> Witness::PacketsInOrder(const Values &values)
{
    corvan::SequenceDistributor::Items frames;
    corvan::SequenceDistributor::ParseRange(ValueIn(values, corvan::p_Range), frames, nullptr);
    const int size = std::atoi(ValueIn(values, corvan::p_PacketSize).c_str());
    std::vector<Frames> ascending;
    for (auto frame = frames.begin(); frame != frames.end();)
    {
        const analysis::FramePacket packet = analysis::TakePacket(frame, size);
        ascending.emplace_back(packet.first, packet.last);
    }
    const int count = int(ascending.size());
    std::vector<int> numbers;
    for (int number = 0; number < count; ++number)
        numbers.push_back(number);
    const std::string order = ValueIn(values, corvan::p_FrameOrder);
    std::ranges::sort(numbers, {}, [&](int number) { return PlaceIn(order, number, count); });
    std::vector<Frames> packets;
    for (const int number : numbers)
        packets.push_back(ascending[std::size_t(number)]);
    return packets;
}

bool Witness::WasBegun(const UID &job, const Frames &packet) const
{
    const auto begun = m_packets.find(job);
    if (begun != m_packets.end() && begun->second.contains(packet))
        return true;
    // Where the job is cut anew it needs no command for these.
    for (int frame = packet.first; frame <= packet.second; ++frame)
        if (!m_machine.HasRendered(job, frame))
            return false;
    return true;
}

void Witness::CheckOrder(const UID &job, const Values &values, const Frames &frames)
{
    const std::vector<Frames> packets = PacketsInOrder(values);
    const auto found = std::ranges::find(packets, frames);
    if (found == packets.end())
        return m_verdict.Wrong("job " + job.ToString() + " has no packet of frames " +
                               std::to_string(frames.first) + "-" + std::to_string(frames.second));
    // What is tried again goes before what was never begun.
    if (WasBegun(job, frames))
        return;
    for (auto before = packets.begin(); before != found; ++before)
        if (!WasBegun(job, *before))
            m_verdict.Wrong("frames " + std::to_string(frames.first) + "-" +
                            std::to_string(frames.second) + " of job " + job.ToString() +
                            " begin before frames " + std::to_string(before->first) + "-" +
                            std::to_string(before->second));
}

bool Witness::IsActive(const Values &values)
{
    return StatusOfValues(values) == JobStatus::Queued ||
           StatusOfValues(values) == JobStatus::Running;
}

bool Witness::HasMore(const UID &job, const Values &values) const
{
    return std::ranges::any_of(PacketsInOrder(values),
                               [&](const Frames &packet) { return !WasBegun(job, packet); });
}

unsigned Witness::RunsOf(const String &owner, const String &priority) const
{
    unsigned runs = 0;
    for (const auto &[job, count] : m_machine.CountOwnByJob())
        if (const auto found = m_jobs.find(job);
            found != m_jobs.end() && ValueIn(found->second, corvan::p_Owner) == owner &&
            ValueIn(found->second, corvan::p_Priority) == priority)
            runs += count;
    return runs;
}

// Only jobs are looked at that have something to begin whatever else there is.
void Witness::CheckTurn(const UID &job, const Values &values)
{
    // What was refused still has its slot for the rest of the plan.
    if (m_refused == m_agenda.Now())
        return;
    const String owner = ValueIn(values, corvan::p_Owner);
    const String priority = ValueIn(values, corvan::p_Priority);
    for (const auto &[other, its] : m_jobs)
    {
        std::string why;
        const String whose = ValueIn(its, corvan::p_Owner);
        if (whose == owner || ValueIn(its, corvan::p_Priority) != priority || !IsActive(its) ||
            !ValueIn(its, corvan::p_Waiting).empty() || m_machine.IsEnding(other) ||
            (!m_begun.contains(other) && !MayBegin(its, &why)) || !HasMore(other, its))
            continue;
        ++m_inTurn;
        if (RunsOf(owner, priority) > RunsOf(whose, priority))
            m_verdict.Wrong("it is the turn of " + whose + " with job " + other.ToString() +
                            ", and job " + job.ToString() + " of " + owner + " begins");
    }
}

} // namespace simulation
