#include "web/jobs/TaskBook.h"

#include <algorithm>
#include <boost/make_shared.hpp>
#include <utility>

namespace web
{

void TaskBook::Ask(const UID &job, Told told)
{
    const auto now = std::chrono::steady_clock::now();
    Entry &entry = m_entries[job];
    // What was known last serves while there is no Master.
    if (entry.tasks && entry.waiting.empty() && (now - entry.at < k_Kept || !m_link.IsUp()))
        return told(entry.tasks.get(), {MasterAnswer::Kind::Answered, {}, {}});
    entry.waiting.push_back(std::move(told));
    if (entry.waiting.size() > 1)
        return;

    const auto question = boost::make_shared<corvan::GetTasksMsg>();
    question->job = job;
    m_link.Ask(question,
               [this, job](const MasterAnswer &answer)
               {
                   Entry &asked = m_entries[job];
                   const auto tasks =
                       boost::dynamic_pointer_cast<corvan::TaskListMsg>(answer.message);
                   if (tasks)
                   {
                       asked.tasks = tasks;
                       asked.at = std::chrono::steady_clock::now();
                   }
                   const auto waiting = std::exchange(asked.waiting, {});
                   if (!asked.tasks)
                       m_entries.erase(job);
                   for (const Told &each : waiting)
                       each(tasks.get(), answer);
                   MakeRoom();
               });
}

void TaskBook::MakeRoom()
{
    while (m_entries.size() > k_MostJobs)
    {
        const auto oldest =
            std::ranges::min_element(m_entries, {},
                                     [](const auto &each)
                                     {
                                         return each.second.waiting.empty()
                                                    ? each.second.at
                                                    : std::chrono::steady_clock::time_point::max();
                                     });
        if (!oldest->second.waiting.empty())
            return;
        m_entries.erase(oldest);
    }
}

} // namespace web
