#pragma once

#include <map>
#include <memory>
#include <set>
#include <span>
#include <string>

#include "corvan/Messages.h"

namespace web
{

using corvan::Job;
using ostrel::String;
using ostrel::UID;

/// A job as it was when it was asked for. It is never changed: a change makes another one, so that
/// threads may read it.
using JobPointer = boost::shared_ptr<const Job>;

/// All jobs of the Master, as they were told last, in the order of their identifiers. What was
/// known stays while there is no Master. Loop thread.
class JobBook
{
public:
    /// Those that the Master lists now are all there are; what was listed before and is not again
    /// goes with `EndListing`.
    void BeginListing();
    void TakeListed(std::span<const boost::shared_ptr<Job>> jobs);
    void EndListing();
    /// Whether all jobs were listed once.
    bool IsListed() const
    {
        return m_isListed;
    }

    /// One is new, or is told anew.
    void Take(const boost::shared_ptr<Job> &job);
    void Take(const corvan::JobParameterMsg &news);
    void Remove(const UID &job);

    std::size_t Count() const
    {
        return m_jobs.size();
    }
    /// Null where there is none.
    JobPointer Find(const UID &job) const;
    /// `{"jobs": [...], "total": N}`: as many as there are from this place on.
    std::string ListJson(std::size_t offset, std::size_t limit);
    /// A row of it; made when it is asked for first. The job must be there.
    const std::string &RowJson(const UID &job);

    /// Counts all changes there were.
    std::uint64_t Version() const
    {
        return m_version;
    }
    /// What has changed since this was asked last.
    struct Changes
    {
        std::set<UID> changed;
        std::set<UID> removed;
    };
    Changes TakeChanges();

private:
    struct Entry
    {
        JobPointer job;
        std::string json; ///< Empty until it is wanted.
        bool isListed = true;
    };

    void Store(const boost::shared_ptr<Job> &job);
    void Note(const UID &job, Entry &entry);

    std::map<UID, Entry> m_jobs;
    bool m_isListed = false;
    std::uint64_t m_version = 1;
    Changes m_changes;
};

/// A job with the same identifier, type and parameters; null, with an error line, for one whose
/// type is not known.
boost::shared_ptr<Job> CopyOf(const Job &job);

} // namespace web
