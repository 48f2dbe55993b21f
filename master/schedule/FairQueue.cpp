#include "master/schedule/FairQueue.h"

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

// Lines of which no job is read yet go before those of the same share.
bool FairQueue::IsBefore(const Line &line, const Line &other)
{
    const auto rank = [](const Line &one)
    { return std::tuple(one.share.runs, one.share.last, one.turn.job.number); };
    return rank(line) < rank(other);
}

FairQueue::Turn *FairQueue::Next()
{
    _CallEntry call("FairQueue::Next", __FILE__, __LINE__);

    for (;;)
    {
        m_current = FindFirst();
        if (!m_current && !BeginPriority())
            return nullptr;
        if (!m_current)
            continue;
        if (m_current->turn.job.number > 0)
            return &m_current->turn;
        ReadAllLike(OwnerShares::Share(m_current->share));
    }
}

// Null where no line has a job left. A line is an owner: there are as many as there are people.
FairQueue::Line *FairQueue::FindFirst()
{
    _CallEntry call("FairQueue::FindFirst", __FILE__, __LINE__);

    Line *first = nullptr;
    for (Line &line : m_lines)
        if (!line.isOver && (!first || IsBefore(line, *first)))
            first = &line;
    return first;
}

// The age of their jobs decides.
void FairQueue::ReadAllLike(const OwnerShares::Share &share)
{
    _CallEntry call("FairQueue::ReadAllLike", __FILE__, __LINE__);

    for (Line &line : m_lines)
        if (!line.isOver && line.turn.job.number == 0 && line.share.runs == share.runs &&
            line.share.last == share.last)
            Advance(line);
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
    m_lines.clear();
    for (const String &owner : m_store.Queue().ListOwners(m_priority))
    {
        Line line;
        line.turn.owner = owner;
        line.share = m_shares.Of(m_priority, owner);
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
