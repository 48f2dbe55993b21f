#include "web/jobs/JobBook.h"

#include <boost/pointer_cast.hpp>
#include <utility>

#include "corvan/JobFactory.h"
#include "ostrel/Log.h"
#include "web/jobs/JobJson.h"

namespace web
{

boost::shared_ptr<Job> CopyOf(const Job &job)
{
    boost::shared_ptr<Job> copy = corvan::JobFactory::s_JobFactory.CreateJob(job.Type().id);
    if (!copy)
        return nullptr;
    copy->CopyFrom(job, true);
    copy->SetID(job.ID());
    return copy;
}

void JobBook::BeginListing()
{
    for (auto &[id, entry] : m_jobs)
        entry.isListed = false;
}

void JobBook::TakeListed(std::span<const boost::shared_ptr<Job>> jobs)
{
    for (const boost::shared_ptr<Job> &job : jobs)
        Store(job);
}

void JobBook::EndListing()
{
    std::set<UID> gone;
    for (const auto &[id, entry] : m_jobs)
        if (!entry.isListed)
            gone.insert(id);
    for (const UID &job : gone)
        Remove(job);
    m_isListed = true;
}

void JobBook::Take(const boost::shared_ptr<Job> &job)
{
    Store(job);
}

void JobBook::Take(const corvan::JobParameterMsg &news)
{
    const auto found = m_jobs.find(news.job);
    // One that is not here yet is listed later, with what has changed.
    if (found == m_jobs.end())
        return;
    const boost::shared_ptr<Job> changed = CopyOf(*found->second.job);
    if (!changed || !changed->SetParameter(news.name, news.value))
        return ostrel::LogWarning("job " + news.job.ToString() + " does not take \"" + news.name +
                                  "\" as the Master tells it");
    found->second.job = changed;
    Note(news.job, found->second);
}

void JobBook::Remove(const UID &job)
{
    if (m_jobs.erase(job) == 0)
        return;
    ++m_version;
    m_changes.changed.erase(job);
    m_changes.removed.insert(job);
}

void JobBook::Store(const boost::shared_ptr<Job> &job)
{
    Entry &entry = m_jobs[job->ID()];
    entry.isListed = true;
    if (entry.job && entry.job->Parameters() == job->Parameters())
        return;
    entry.job = job;
    Note(job->ID(), entry);
}

void JobBook::Note(const UID &job, Entry &entry)
{
    entry.json.clear();
    ++m_version;
    m_changes.removed.erase(job);
    m_changes.changed.insert(job);
}

JobPointer JobBook::Find(const UID &job) const
{
    const auto found = m_jobs.find(job);
    return found == m_jobs.end() ? nullptr : found->second.job;
}

const std::string &JobBook::RowJson(const UID &job)
{
    Entry &entry = m_jobs.at(job);
    if (entry.json.empty())
        entry.json = JsonText(JobRow(*entry.job));
    return entry.json;
}

std::string JobBook::ListJson(std::size_t offset, std::size_t limit)
{
    std::string json = "{\"jobs\":[";
    auto entry = m_jobs.begin();
    std::advance(entry, std::ptrdiff_t(std::min(offset, m_jobs.size())));
    for (std::size_t count = 0; count < limit && entry != m_jobs.end(); ++count, ++entry)
    {
        json += count > 0 ? ",\n" : "\n";
        json += RowJson(entry->first);
    }
    return json + "],\"total\":" + std::to_string(m_jobs.size()) + "}\n";
}

JobBook::Changes JobBook::TakeChanges()
{
    return std::exchange(m_changes, {});
}

} // namespace web
