#include "master/jobs/Followers.h"

#include <algorithm>
#include <cassert>
#include <iterator>

#include "ostrel/CallEntry.h"

namespace master
{

using ostrel::_CallEntry;

bool Followers::Follow(ClientNumber client, std::span<const UID> jobs)
{
    _CallEntry call("Followers::Follow", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    std::set<UID> followed = m_jobs[client];
    followed.insert(jobs.begin(), jobs.end());
    if (followed.size() > k_MaxJobs)
        return false;

    m_jobs[client] = std::move(followed);
    for (const UID &job : jobs)
    {
        std::vector<ClientNumber> &clients = m_clients[job];
        const auto place = std::ranges::lower_bound(clients, client);
        if (place == clients.end() || *place != client)
            clients.insert(place, client);
    }
    return true;
}

void Followers::FollowAll(ClientNumber client)
{
    _CallEntry call("Followers::FollowAll", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    m_ofAll.insert(client);
}

void Followers::Forget(ClientNumber client)
{
    _CallEntry call("Followers::Forget", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    m_ofAll.erase(client);
    const auto found = m_jobs.find(client);
    if (found == m_jobs.end())
        return;

    for (const UID &job : found->second)
    {
        const auto clients = m_clients.find(job);
        std::erase(clients->second, client);
        if (clients->second.empty())
            m_clients.erase(clients);
    }
    m_jobs.erase(found);
}

std::vector<ClientNumber> Followers::Of(const UID &job) const
{
    _CallEntry call("Followers::Of", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    const auto found = m_clients.find(job);
    if (m_ofAll.empty())
        return found == m_clients.end() ? std::vector<ClientNumber>() : found->second;
    std::vector<ClientNumber> all(m_ofAll.begin(), m_ofAll.end());
    if (found == m_clients.end())
        return all;
    std::vector<ClientNumber> both;
    std::ranges::set_union(all, found->second, std::back_inserter(both));
    return both;
}

} // namespace master
