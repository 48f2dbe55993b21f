#pragma once

#include <cstdint>
#include <map>
#include <utility>

#include "ostrel/UID.h"

namespace master
{

using ostrel::String;
using ostrel::UID;

/// How the slots are shared out: the runs of each owner, by the priority that their jobs have.
/// Nothing of it is on disk: a new start begins with those that go on. Loop thread.
class OwnerShares
{
public:
    /// What an owner has of one priority.
    struct Share
    {
        unsigned runs = 0;
        /// Counts up with every run that is begun, of whomever; the last one of these. 0 for none.
        std::uint64_t last = 0;
    };
    Share Of(int priority, const String &owner) const;

    /// A run of a job is begun; all of a job have its owner and its priority.
    void Begin(const UID &job, const String &owner, int priority);
    /// A run of a job is over.
    void End(const UID &job);
    /// A job has another priority. Nothing happens for one without runs.
    void SetPriority(const UID &job, int priority);
    bool Has(const UID &job) const
    {
        return m_jobs.contains(job);
    }

private:
    struct Holding
    {
        String owner;
        int priority = 0;
        unsigned runs = 0;
    };

    std::map<UID, Holding> m_jobs; // Those with runs.
    std::map<std::pair<int, String>, Share> m_shares;
    std::uint64_t m_begun = 0;
};

} // namespace master
