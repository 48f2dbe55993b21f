#include "master/jobs/ProgressNews.h"

#include "ostrel/CallEntry.h"

namespace master
{

using ostrel::_CallEntry;

void ProgressNews::Note(const UID &job, Moment now)
{
    _CallEntry call("ProgressNews::Note", __FILE__, __LINE__);

    const auto [entry, isNew] = m_jobs.try_emplace(job, Entry{now});
    entry->second.isWaiting = true;
}

std::vector<UID> ProgressNews::TakeDue(Moment now)
{
    _CallEntry call("ProgressNews::TakeDue", __FILE__, __LINE__);

    std::vector<UID> jobs;
    for (auto entry = m_jobs.begin(); entry != m_jobs.end();)
    {
        const bool isDue = entry->second.due <= now;
        if (isDue && !entry->second.isWaiting)
        {
            // Quiet for a whole interval: the next news goes out at once without an entry.
            entry = m_jobs.erase(entry);
            continue;
        }
        if (isDue)
        {
            jobs.push_back(entry->first);
            entry->second = {now + k_Interval, false};
        }
        ++entry;
    }
    return jobs;
}

std::optional<ProgressNews::Moment> ProgressNews::NextDue() const
{
    _CallEntry call("ProgressNews::NextDue", __FILE__, __LINE__);

    std::optional<Moment> next;
    for (const auto &[job, entry] : m_jobs)
        if (entry.isWaiting && (!next || entry.due < *next))
            next = entry.due;
    return next;
}

} // namespace master
