#include "master/store/QueueStore.h"

#include <cassert>

#include "master/store/StoreDatabase.h"
#include "ostrel/CallEntry.h"

namespace master
{

using ostrel::_CallEntry;

std::optional<int> QueueStore::FindPriority(int below)
{
    _CallEntry call("QueueStore::FindPriority", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    return m_database.Guarded(
        [&]() -> std::optional<int>
        {
            const Query select =
                m_database.Prepared("SELECT priority FROM jobs INDEXED BY jobs_runnable"
                                    " WHERE status IN (0, 1) AND held = 0 AND priority < ?"
                                    " ORDER BY priority DESC LIMIT 1");
            select->bind(1, below);
            if (!select->executeStep())
                return std::nullopt;
            return select->getColumn(0).getInt();
        });
}

// From each owner to the next, however many jobs lie between.
std::vector<String> QueueStore::ListOwners(int priority)
{
    _CallEntry call("QueueStore::ListOwners", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    return m_database.Guarded(
        [&]
        {
            std::vector<String> owners;
            for (;;)
            {
                const Query select = m_database.Prepared(
                    // A job may have no owner.
                    owners.empty() ? "SELECT owner FROM jobs INDEXED BY jobs_runnable"
                                     " WHERE status IN (0, 1) AND held = 0 AND priority = ?"
                                     " AND owner >= ? ORDER BY owner LIMIT 1"
                                   : "SELECT owner FROM jobs INDEXED BY jobs_runnable"
                                     " WHERE status IN (0, 1) AND held = 0 AND priority = ?"
                                     " AND owner > ? ORDER BY owner LIMIT 1");
                select->bind(1, priority);
                select->bind(2, owners.empty() ? std::string() : std::string(owners.back()));
                if (!select->executeStep())
                    return owners;
                owners.emplace_back(select->getColumn(0).getString());
            }
        });
}

std::optional<QueueStore::Queued> QueueStore::FindJob(int priority, const String &owner,
                                                      std::int64_t after)
{
    _CallEntry call("QueueStore::FindJob", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    return m_database.Guarded(
        [&]() -> std::optional<Queued>
        {
            const Query select = m_database.Prepared(
                "SELECT id, number FROM jobs INDEXED BY jobs_runnable"
                " WHERE status IN (0, 1) AND held = 0 AND priority = ? AND owner = ?"
                " AND number > ? AND (next_task < tasks_total OR EXISTS"
                " (SELECT 1 FROM tasks INDEXED BY tasks_queued"
                " WHERE tasks.job = jobs.number AND tasks.status = 0))"
                " ORDER BY number LIMIT 1");
            select->bind(1, priority);
            select->bind(2, owner);
            select->bind(3, after);
            if (!select->executeStep())
                return std::nullopt;
            return Queued{UID(select->getColumn(0).getString(), false),
                          select->getColumn(1).getInt64()};
        });
}

} // namespace master
