#include "master/schedule/JobPauses.h"

#include <algorithm>

#include "ostrel/CallEntry.h"

namespace master
{

using ostrel::_CallEntry;

void JobPauses::Begin(const UID &job, Moment now)
{
    _CallEntry call("JobPauses::Begin", __FILE__, __LINE__);

    const auto [found, isNew] = m_pauses.try_emplace(job);
    Pause &pause = found->second;
    if (!isNew && now < pause.end && !pause.isEased)
        return;
    pause.isEased = false;
    pause.length =
        isNew ? m_lengths.firstOfJob : std::min(2 * pause.length, m_lengths.longestOfJob);
    pause.end = now + pause.length;
}

void JobPauses::End(const UID &job)
{
    _CallEntry call("JobPauses::End", __FILE__, __LINE__);

    m_pauses.erase(job);
}

void JobPauses::Ease(const UID &job)
{
    _CallEntry call("JobPauses::Ease", __FILE__, __LINE__);

    if (const auto found = m_pauses.find(job); found != m_pauses.end())
        found->second.isEased = true;
}

void JobPauses::AddPausing(Moment now, std::set<UID> &jobs) const
{
    _CallEntry call("JobPauses::AddPausing", __FILE__, __LINE__);

    for (const auto &[job, pause] : m_pauses)
        if (now < pause.end && !pause.isEased)
            jobs.insert(job);
}

std::optional<JobPauses::Moment> JobPauses::NextEnd(Moment now) const
{
    _CallEntry call("JobPauses::NextEnd", __FILE__, __LINE__);

    std::optional<Moment> next;
    for (const auto &[job, pause] : m_pauses)
        if (now < pause.end && !pause.isEased && (!next || pause.end < *next))
            next = pause.end;
    return next;
}

} // namespace master
