#include "master/schedule/TaskPauses.h"

#include "ostrel/CallEntry.h"

namespace master
{

using ostrel::_CallEntry;

void TaskPauses::Begin(const UID &job, unsigned task, unsigned failures, Moment now)
{
    _CallEntry call("TaskPauses::Begin", __FILE__, __LINE__);

    JobTasks &pauses = m_jobs[job];
    pauses.ends[task] = now + (failures <= 1 ? m_lengths.firstOfTask : m_lengths.secondOfTask);
    pauses.tasks.insert(task);
}

void TaskPauses::End(const UID &job)
{
    _CallEntry call("TaskPauses::End", __FILE__, __LINE__);

    m_jobs.erase(job);
}

const std::set<unsigned> &TaskPauses::Pausing(const UID &job, Moment now)
{
    _CallEntry call("TaskPauses::Pausing", __FILE__, __LINE__);

    static const std::set<unsigned> s_none;
    const auto found = m_jobs.find(job);
    if (found == m_jobs.end())
        return s_none;

    JobTasks &pauses = found->second;
    for (auto pause = pauses.ends.begin(); pause != pauses.ends.end();)
    {
        if (now < pause->second)
        {
            ++pause;
            continue;
        }
        pauses.tasks.erase(pause->first);
        pause = pauses.ends.erase(pause);
    }
    if (!pauses.tasks.empty())
        return pauses.tasks;
    m_jobs.erase(found);
    return s_none;
}

std::optional<TaskPauses::Moment> TaskPauses::NextEnd(Moment now) const
{
    _CallEntry call("TaskPauses::NextEnd", __FILE__, __LINE__);

    std::optional<Moment> next;
    for (const auto &[job, pauses] : m_jobs)
        for (const auto &[task, end] : pauses.ends)
            if (now < end && (!next || end < *next))
                next = end;
    return next;
}

} // namespace master
