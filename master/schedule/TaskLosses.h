#pragma once

#include <map>

#include "ostrel/UID.h"

namespace master
{

using ostrel::UID;

/// How often in a row a machine has failed under a task. Once or twice that is the machine's
/// affair; a packet that takes one machine after the other with it is to blame for it. Nothing of
/// it is on disk.
class TaskLosses
{
public:
    /// So many are not counted as failures of the task.
    static constexpr int k_Forgiven = 2;

    /// A machine has failed under the task; gives which time in a row that was, from 1.
    int Note(const UID &job, unsigned task)
    {
        return ++m_jobs[job][task];
    }

    /// The task has ended by itself.
    void Forget(const UID &job, unsigned task)
    {
        const auto found = m_jobs.find(job);
        if (found != m_jobs.end() && found->second.erase(task) > 0 && found->second.empty())
            m_jobs.erase(found);
    }

    /// The job's tasks may have other numbers now, or somebody wants them tried anew.
    void Forget(const UID &job)
    {
        m_jobs.erase(job);
    }

private:
    std::map<UID, std::map<unsigned, int>> m_jobs;
};

} // namespace master
