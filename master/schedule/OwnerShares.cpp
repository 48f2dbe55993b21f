#include "master/schedule/OwnerShares.h"

#include "ostrel/CallEntry.h"

namespace master
{

using ostrel::_CallEntry;

OwnerShares::Share OwnerShares::Of(int priority, const String &owner) const
{
    _CallEntry call("OwnerShares::Of", __FILE__, __LINE__);

    const auto found = m_shares.find({priority, owner});
    return found == m_shares.end() ? Share{} : found->second;
}

void OwnerShares::Begin(const UID &job, const String &owner, int priority)
{
    _CallEntry call("OwnerShares::Begin", __FILE__, __LINE__);

    SetPriority(job, priority);
    Holding &holding = m_jobs[job];
    holding.owner = owner;
    holding.priority = priority;
    ++holding.runs;
    Share &share = m_shares[{priority, owner}];
    ++share.runs;
    share.last = ++m_begun;
}

void OwnerShares::End(const UID &job)
{
    _CallEntry call("OwnerShares::End", __FILE__, __LINE__);

    const auto found = m_jobs.find(job);
    if (found == m_jobs.end())
        return;
    Holding &holding = found->second;
    --m_shares[{holding.priority, holding.owner}].runs;
    if (--holding.runs == 0)
        m_jobs.erase(found);
}

void OwnerShares::SetPriority(const UID &job, int priority)
{
    _CallEntry call("OwnerShares::SetPriority", __FILE__, __LINE__);

    const auto found = m_jobs.find(job);
    if (found == m_jobs.end() || found->second.priority == priority)
        return;
    Holding &holding = found->second;
    m_shares[{holding.priority, holding.owner}].runs -= holding.runs;
    holding.priority = priority;
    m_shares[{holding.priority, holding.owner}].runs += holding.runs;
}

} // namespace master
