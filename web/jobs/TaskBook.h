#pragma once

#include <boost/shared_ptr.hpp>
#include <chrono>
#include <functional>
#include <map>
#include <vector>

#include "corvan/Messages.h"
#include "web/jobs/MasterLink.h"

namespace web
{

using ostrel::UID;

/// The tasks of the jobs that somebody looks at, which the Master is asked for: at most once a
/// second for a job, since a list may have hundreds of thousands. Loop thread.
class TaskBook
{
public:
    /// The answer has the list, or says why there is none.
    using Told = std::function<void(const corvan::TaskListMsg *, const MasterAnswer &)>;

    static constexpr std::chrono::seconds k_Kept{1};
    static constexpr std::size_t k_MostJobs = 8;

    /// The link outlives it.
    explicit TaskBook(MasterLink &link) : m_link(link) {}

    void Ask(const UID &job, Told told);

private:
    struct Entry
    {
        boost::shared_ptr<const corvan::TaskListMsg> tasks;
        std::chrono::steady_clock::time_point at{};
        std::vector<Told> waiting;
    };

    void MakeRoom();

    MasterLink &m_link;
    std::map<UID, Entry> m_entries;
};

} // namespace web
