#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <span>
#include <vector>

#include "master/jobs/Outbox.h"
#include "ostrel/LoopThread.h"

namespace master
{

using ostrel::LoopThread;

/// Which clients follow which jobs. A job need not be there (yet). Loop thread.
class Followers
{
public:
    /// Most jobs one client may follow.
    static constexpr std::size_t k_MaxJobs = 100'000;

    /// Adds to what the client follows. False, and nothing changed, where that would be more than
    /// `k_MaxJobs`.
    bool Follow(ClientNumber client, std::span<const UID> jobs);
    /// The client follows all jobs, whichever they are.
    void FollowAll(ClientNumber client);
    /// The client is gone.
    void Forget(ClientNumber client);

    /// In ascending order.
    std::vector<ClientNumber> Of(const UID &job) const;

private:
    LoopThread m_thread;
    std::map<UID, std::vector<ClientNumber>> m_clients; // In ascending order.
    std::map<ClientNumber, std::set<UID>> m_jobs;
    std::set<ClientNumber> m_ofAll;
};

} // namespace master
