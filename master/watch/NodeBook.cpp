#include "master/watch/NodeBook.h"

#include <algorithm>
#include <set>
#include <utility>

#include "ostrel/CallEntry.h"

namespace master
{

using ostrel::_CallEntry;

namespace
{

constexpr unsigned k_part = 5; // A fifth of the tasks.
constexpr unsigned k_enough_elsewhere = 3;
constexpr std::size_t k_enough_jobs = 2;
constexpr std::size_t k_last_alone = 10;
constexpr std::size_t k_named = 5;
constexpr std::chrono::minutes k_forget_each{10};

bool IsFailure(NodeBook::Outcome outcome)
{
    return outcome != NodeBook::Outcome::Done;
}

} // namespace

void NodeBook::Note(const String &node, const Event &event)
{
    _CallEntry call("NodeBook::Note", __FILE__, __LINE__);

    if (node.empty())
        return;
    if (m_clock.Now() >= m_nextForgetting)
        ForgetAll();
    // Names come from elsewhere: the number of machines is bounded, whatever they are called.
    if (m_nodes.size() >= k_MostNodes && !m_nodes.contains(node))
        return;
    Events &events = m_nodes[node];
    Forget(events);
    if (events.size() >= k_MostTasks)
        events.pop_front();
    events.push_back(
        {event.job, event.task, event.outcome, m_clock.Now(),
         event.reason.empty() ? nullptr : std::make_unique<const String>(event.reason)});
}

void NodeBook::NoteBad(const UID &job, const std::set<unsigned> &tasks, const String &reason)
{
    _CallEntry call("NodeBook::NoteBad", __FILE__, __LINE__);

    std::map<unsigned, Kept *> last;
    for (auto &[name, events] : m_nodes)
        for (Kept &kept : events)
        {
            if (!(kept.job == job) || !tasks.contains(kept.task) || kept.outcome != Outcome::Done)
                continue;
            Kept *&latest = last[kept.task];
            if (!latest || kept.at >= latest->at)
                latest = &kept;
        }
    for (const auto &[task, kept] : last)
    {
        kept->outcome = Outcome::Bad;
        kept->reason = std::make_unique<const String>(reason);
    }
}

ostrel::Time NodeBook::TimeOf(Clock::Moment at) const
{
    _CallEntry call("NodeBook::TimeOf", __FILE__, __LINE__);

    const std::chrono::nanoseconds ago = m_clock.Now() - at;
    return ostrel::Time(ostrel::Time::Now().First() - ago.count());
}

void NodeBook::Forget(Events &events) const
{
    _CallEntry call("NodeBook::Forget", __FILE__, __LINE__);

    while (!events.empty() && m_clock.Now() - events.front().at > k_Lately)
        events.pop_front();
}

void NodeBook::ForgetAll()
{
    _CallEntry call("NodeBook::ForgetAll", __FILE__, __LINE__);

    for (auto &[name, events] : m_nodes)
        Forget(events);
    std::erase_if(m_nodes, [](const auto &one) { return one.second.empty(); });
    m_nextForgetting = m_clock.Now() + k_forget_each;
}

std::vector<NodeBook::Node> NodeBook::List()
{
    _CallEntry call("NodeBook::List", __FILE__, __LINE__);

    ForgetAll();
    std::map<UID, Counts> everywhere;
    std::map<String, std::map<UID, Counts>> byNode;
    for (const auto &[name, events] : m_nodes)
        for (const Kept &kept : events)
            for (Counts *const counts : {&everywhere[kept.job], &byNode[name][kept.job]})
                ++(IsFailure(kept.outcome) ? counts->failed : counts->good);

    std::vector<Node> nodes;
    for (const auto &[name, events] : m_nodes)
    {
        Node node;
        node.name = name;
        for (const Kept &kept : events)
        {
            node.done += kept.outcome == Outcome::Done ? 1 : 0;
            node.failed += kept.outcome == Outcome::Failed ? 1 : 0;
            node.bad += kept.outcome == Outcome::Bad ? 1 : 0;
            if (!IsFailure(kept.outcome))
                continue;
            node.lastFailure = {kept.job, kept.task, kept.outcome,
                                kept.reason ? *kept.reason : String()};
            node.lastFailureAt = TimeOf(kept.at);
        }
        if (m_nodes.size() > 1)
            Judge(byNode[name], everywhere, node);
        else
            JudgeAlone(events, node);
        nodes.push_back(std::move(node));
    }
    return nodes;
}

void NodeBook::Judge(const std::map<UID, Counts> &here, const std::map<UID, Counts> &everywhere,
                     Node &node)
{
    _CallEntry call("NodeBook::Judge", __FILE__, __LINE__);

    for (const auto &[job, counts] : here)
    {
        const Counts &all = everywhere.at(job);
        const unsigned goodElsewhere = all.good - counts.good;
        const unsigned failedElsewhere = all.failed - counts.failed;
        if (counts.failed > 0 && counts.failed * k_part >= counts.failed + counts.good &&
            goodElsewhere >= k_enough_elsewhere &&
            failedElsewhere * k_part < failedElsewhere + goodElsewhere)
            node.against.push_back(job);
    }
    if (node.against.size() < k_enough_jobs)
        return node.against.clear();
    node.suspicion = "tasks of " + std::to_string(node.against.size()) +
                     " jobs fail or come out bad here, and are done well elsewhere:";
    for (std::size_t i = 0; i < std::min(node.against.size(), k_named); ++i)
        node.suspicion += (i == 0 ? " " : ", ") + node.against[i].ToString().substr(0, 8);
    if (node.against.size() > k_named)
        node.suspicion += " and others";
}

void NodeBook::JudgeAlone(const Events &events, Node &node)
{
    _CallEntry call("NodeBook::JudgeAlone", __FILE__, __LINE__);

    if (events.size() < k_last_alone)
        return;
    std::set<UID> jobs;
    for (auto kept = events.end() - k_last_alone; kept != events.end(); ++kept)
    {
        if (!IsFailure(kept->outcome))
            return;
        jobs.insert(kept->job);
    }
    if (jobs.size() < k_enough_jobs)
        return;
    node.against.assign(jobs.begin(), jobs.end());
    node.suspicion = "its last " + std::to_string(k_last_alone) + " tasks, of " +
                     std::to_string(jobs.size()) + " jobs, have all failed";
}

} // namespace master
