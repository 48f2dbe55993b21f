#include "bench/day/DayEnd.h"

#include <algorithm>
#include <map>
#include <utility>

#include "master/store/JobStore.h"
#include "master/store/StoreFiles.h"

namespace bench
{

using corvan::JobStatus;
using master::JobState;
using master::JobStore;
using master::TaskState;

namespace
{

constexpr int k_most_told = 5;

class Findings
{
public:
    void Add(const std::string &kind, unsigned packet)
    {
        if (++m_counts[kind] <= k_most_told)
            m_lines.push_back("packet " + std::to_string(packet) + ": " + kind);
    }

    void Add(const std::string &line)
    {
        m_lines.push_back(line);
    }

    std::vector<std::string> Lines() const
    {
        std::vector<std::string> lines = m_lines;
        for (const auto &[kind, count] : m_counts)
            lines.push_back(std::to_string(count) + " packets: " + kind);
        return lines;
    }

private:
    std::map<std::string, int> m_counts;
    std::vector<std::string> m_lines;
};

void ComparePacket(unsigned number, const Fate &fate, const TaskState *task,
                   const DayBook::Packet &ran, Findings &findings)
{
    const bool isBad = fate.failures == Fate::k_Always;
    if (!task)
        return findings.Add("nobody has begun it", number);
    if (task->status != (isBad ? JobStatus::Failed : JobStatus::Done))
        findings.Add("it did not end as drawn", number);
    // What ended while the Master was gone is told to the next one: each end counts once.
    if (task->failures != (isBad ? 3 : fate.failures))
        findings.Add("the store has another number of failures than was drawn", number);
    if (ran.failed != task->failures)
        findings.Add("it has failed more often than the store knows, or less", number);
    if (ran.good != (isBad ? 0 : 1))
        findings.Add("it was rendered not once", number);
    if (ran.lost != fate.losses)
        findings.Add("its node failed more or less often than drawn", number);
    // One that was noted just before the Master was killed stays over: nobody asks for it again.
    if (ran.stage == DayBook::Stage::Running)
        findings.Add("it still runs", number);
}

// When its first packet began, and its last one ended.
std::pair<double, double> SpanOf(const DayJob &job, DayBook &book)
{
    std::pair span{book.At(job.firstPacket).beganAtS, 0.0};
    for (unsigned packet = job.firstPacket; packet < job.firstPacket + job.packets; ++packet)
    {
        span.first = std::min(span.first, book.At(packet).beganAtS);
        span.second = std::max(span.second, book.At(packet).endsAtS);
    }
    return span;
}

void CompareOrder(const DayPlan &plan, DayBook &book, Findings &findings)
{
    std::vector<std::pair<double, double>> spans;
    for (const DayJob &job : plan.Jobs())
    {
        spans.push_back(SpanOf(job, book));
        for (const unsigned other : job.after)
            if (spans.back().first < spans[other].second)
                findings.Add("job " + std::string(job.id.ToString()) +
                             " has begun before one that it waits for was done");
    }
}

} // namespace

std::vector<std::string> CompareDay(const std::string &data, const DayPlan &plan, DayBook &book)
{
    Findings findings;
    JobStore store(master::StoreFileIn(ostrel::Path(data)));
    for (const DayJob &job : plan.Jobs())
    {
        const std::optional<JobState> state = store.FindState(job.id);
        if (!state)
        {
            findings.Add("job " + std::string(job.id.ToString()) + " is not there");
            continue;
        }
        if (state->status != (job.fails ? JobStatus::Failed : JobStatus::Done))
            findings.Add("job " + std::string(job.id.ToString()) + " did not end as drawn");
        std::map<unsigned, TaskState> tasks;
        for (const TaskState &task : store.Tasks().List(*state))
            tasks[task.index] = task;
        for (unsigned packet = 0; packet < job.packets; ++packet)
        {
            const unsigned number = job.firstPacket + packet;
            const auto task = tasks.find(packet);
            ComparePacket(number, plan.FateOf(number),
                          task == tasks.end() ? nullptr : &task->second, book.At(number), findings);
        }
    }
    CompareOrder(plan, book, findings);
    if (const auto twice = book.Common().twice; twice > 0)
        findings.Add(std::to_string(twice) + " packets were begun while they ran");
    return findings.Lines();
}

} // namespace bench
