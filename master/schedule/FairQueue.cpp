#include "master/schedule/FairQueue.h"

#include <algorithm>
#include <cassert>
#include <limits>
#include <tuple>

#include "ostrel/CallEntry.h"

namespace master
{

using ostrel::_CallEntry;

namespace
{

constexpr int k_above_all = std::numeric_limits<int>::max();

} // namespace

FairQueue::FairQueue(JobStore &store, const OwnerShares &shares, std::set<UID> passOver)
    : m_store(store), m_shares(shares), m_passOver(std::move(passOver)), m_priority(k_above_all)
{
    _CallEntry call("FairQueue::FairQueue", __FILE__, __LINE__);
}

bool FairQueue::IsBefore(const Line &line, const Line &other) const
{
    const auto rank = [](const Line &one)
    { return std::tuple(one.share.runs, one.share.last, one.turn.job.number); };
    return rank(line) < rank(other);
}

FairQueue::Turn *FairQueue::Next()
{
    _CallEntry call("FairQueue::Next", __FILE__, __LINE__);

    std::erase_if(m_lines, [](const Line &line) { return line.isOver; });
    while (m_lines.empty())
        if (!BeginPriority())
            return nullptr;
    // A line is an owner: there are as many as there are people.
    m_current = &*std::ranges::min_element(m_lines, [this](const Line &line, const Line &other)
                                           { return IsBefore(line, other); });
    return &m_current->turn;
}

void FairQueue::Serve()
{
    _CallEntry call("FairQueue::Serve", __FILE__, __LINE__);

    ++m_current->share.runs;
    // Behind all that was begun before this plan.
    m_current->share.last = std::numeric_limits<std::uint64_t>::max() / 2 + ++m_begun;
}

void FairQueue::PassOver()
{
    _CallEntry call("FairQueue::PassOver", __FILE__, __LINE__);

    Advance(*m_current);
}

// Goes down to the next priority that has jobs; false where there is none.
bool FairQueue::BeginPriority()
{
    _CallEntry call("FairQueue::BeginPriority", __FILE__, __LINE__);

    const std::optional<int> priority = m_store.Queue().FindPriority(m_priority);
    if (!priority)
        return false;
    m_priority = *priority;
    for (const String &owner : m_store.Queue().ListOwners(m_priority))
    {
        Line line;
        line.turn.owner = owner;
        line.share = m_shares.Of(m_priority, owner);
        Advance(line);
        if (!line.isOver)
            m_lines.push_back(std::move(line));
    }
    return true;
}

// To the owner's next job that is not to be passed over.
void FairQueue::Advance(Line &line)
{
    _CallEntry call("FairQueue::Advance", __FILE__, __LINE__);

    std::int64_t number = line.turn.job.number;
    while (const auto queued = m_store.Queue().FindJob(m_priority, line.turn.owner, number))
    {
        number = queued->number;
        if (m_passOver.contains(queued->job))
            continue;
        line.turn.job = m_store.FindState(queued->job).value();
        return;
    }
    line.isOver = true;
}

} // namespace master
