#pragma once

#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "master/jobs/Packets.h"
#include "master/store/JobStore.h"

namespace master
{

/// A job with the same identifier, type and parameters.
boost::shared_ptr<Job> CopyOf(const Job &job);

/// Jobs that were read from the store, with their packets, so that a range of 50,000 scattered
/// frames is parsed and cut once and not for every task. Loop thread.
class JobCache
{
public:
    explicit JobCache(JobStore &store) : m_store(store) {}

    /// A job as its clients set it, and how it is cut.
    struct Entry
    {
        boost::shared_ptr<const Job> job; ///< Null where it cannot be read.
        bool isCut = false;
        std::vector<Packet> packets; ///< None where it cannot be cut, or was not asked to be.
        int firstFrame = 0;          ///< The first one of all packets.
        String reason;               ///< Why it cannot be read, or cut.
    };

    /// Never null. Shared with the caller, who may keep it while the cache forgets it.
    std::shared_ptr<const Entry> Get(const UID &job);
    /// The same with its packets.
    std::shared_ptr<const Entry> GetCut(const UID &job);

    /// The job with all of its parameters, those that the Master keeps included: what clients are
    /// sent. Null, with the reason, where it cannot be read.
    boost::shared_ptr<Job> Whole(const JobState &state, String *reason);

    /// What adds to the parameters of `Whole` what is not in the store.
    using AddMore = std::function<void(const JobState &state, Job &job)>;
    void SetMore(AddMore addMore)
    {
        m_addMore = std::move(addMore);
    }

    /// The job was changed in the store.
    void Forget(const UID &job);
    /// Changes of the store were undone.
    void Clear();

private:
    static constexpr std::size_t k_max_bytes = 64u << 20;

    std::shared_ptr<Entry> Find(const UID &job);
    void MakeRoom(std::size_t bytes);

    JobStore &m_store;
    AddMore m_addMore;
    std::map<UID, std::shared_ptr<Entry>> m_entries;
    std::size_t m_bytes = 0;
};

} // namespace master
