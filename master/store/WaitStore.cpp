#include "master/store/WaitStore.h"

#include <algorithm>
#include <cassert>

#include "master/store/JobStore.h"
#include "master/store/StoreDatabase.h"
#include "ostrel/CallEntry.h"

namespace master
{

using ostrel::_CallEntry;

namespace
{

// Values of column `gone`.
constexpr int k_there = 0;
constexpr int k_gone_unmet = 1;
constexpr int k_gone_met = 2;

bool Exists(const Query &select)
{
    select->executeStep();
    return select->getColumn(0).getInt() != 0;
}

} // namespace

std::vector<WaitedFor> WaitStore::List(const JobState &state)
{
    _CallEntry call("WaitStore::List", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    return m_database.Guarded(
        [&]
        {
            std::vector<WaitedFor> others;
            const Query select =
                m_database.Prepared("SELECT other, good, gone, waits.name, jobs.status FROM waits"
                                    " LEFT JOIN jobs ON jobs.id = other AND gone = 0"
                                    " WHERE job = ? ORDER BY position");
            select->bind(1, state.number);
            while (select->executeStep())
            {
                WaitedFor other;
                other.job = UID(select->getColumn(0).getString(), false);
                other.wantsGood = select->getColumn(1).getInt() != 0;
                other.wasMet = select->getColumn(2).getInt() == k_gone_met;
                other.name = select->getColumn(3).getString();
                if (!select->getColumn(4).isNull())
                    other.status = JobStatus(select->getColumn(4).getInt());
                others.push_back(std::move(other));
            }
            return others;
        });
}

void WaitStore::Replace(const JobState &state, std::span<const WaitedFor> others)
{
    _CallEntry call("WaitStore::Replace", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    const std::vector<WaitedFor> before = List(state);
    Forget(state);
    m_database.Guarded(
        [&]
        {
            int position = 0;
            for (const WaitedFor &other : others)
            {
                const auto known = std::ranges::find(before, other.job, &WaitedFor::job);
                const bool isGone = known != before.end() && !known->status;
                const Query put = m_database.Prepared(
                    "INSERT INTO waits(job, position, other, good, gone, name, stirred)"
                    " VALUES(?,?,?,?,?,?,1)");
                put->bind(1, state.number);
                put->bind(2, position++);
                put->bind(3, other.job.ToString());
                put->bind(4, other.wantsGood ? 1 : 0);
                put->bind(5, !isGone ? k_there : (known->wasMet ? k_gone_met : k_gone_unmet));
                put->bind(6, isGone ? std::string(known->name) : std::string());
                put->exec();
            }
            const Query hold =
                m_database.Prepared("UPDATE jobs SET held = 1 WHERE number = ?1 AND held = 0"
                                    " AND EXISTS (SELECT 1 FROM waits WHERE job = ?1)");
            hold->bind(1, state.number);
            hold->exec();
        });
}

bool WaitStore::IsWaitedFor(const UID &job)
{
    _CallEntry call("WaitStore::IsWaitedFor", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    return m_database.Guarded(
        [&]
        {
            const Query select =
                m_database.Prepared("SELECT EXISTS (SELECT 1 FROM waits WHERE other = ?)");
            select->bind(1, job.ToString());
            return Exists(select);
        });
}

bool WaitStore::WaitsFor(const UID &job, const UID &other)
{
    _CallEntry call("WaitStore::WaitsFor", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    return m_database.Guarded(
        [&]
        {
            const Query select = m_database.Prepared(
                "WITH RECURSIVE reached(id) AS (SELECT other FROM waits"
                " JOIN jobs ON jobs.number = waits.job WHERE jobs.id = ?1"
                " UNION SELECT other FROM reached JOIN jobs ON jobs.id = reached.id"
                " JOIN waits ON waits.job = jobs.number)"
                " SELECT EXISTS (SELECT 1 FROM reached WHERE id = ?2)");
            select->bind(1, job.ToString());
            select->bind(2, other.ToString());
            return Exists(select);
        });
}

WaitStore::Hold WaitStore::HoldOf(const JobState &state)
{
    _CallEntry call("WaitStore::HoldOf", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    return m_database.Guarded(
        [&]
        {
            const Query select = m_database.Prepared("SELECT held FROM jobs WHERE number = ?");
            select->bind(1, state.number);
            return select->executeStep() ? Hold(select->getColumn(0).getInt()) : Hold::None;
        });
}

bool WaitStore::IsAnyStirred()
{
    _CallEntry call("WaitStore::IsAnyStirred", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    return m_database.Guarded(
        [&]
        {
            return Exists(m_database.Prepared("SELECT EXISTS (SELECT 1 FROM waits"
                                              " INDEXED BY waits_stirred WHERE stirred = 1)"));
        });
}

std::vector<UID> WaitStore::ListStirred(unsigned most)
{
    _CallEntry call("WaitStore::ListStirred", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    return m_database.Guarded(
        [&]
        {
            std::vector<UID> jobs;
            const Query select = m_database.Prepared(
                "SELECT (SELECT id FROM jobs WHERE number = job) FROM"
                " (SELECT DISTINCT job FROM waits INDEXED BY waits_stirred WHERE stirred = 1"
                " ORDER BY job LIMIT ?)");
            select->bind(1, most);
            while (select->executeStep())
                jobs.emplace_back(String(select->getColumn(0).getString()), false);
            return jobs;
        });
}

void WaitStore::Settle(const JobState &state, Hold hold)
{
    _CallEntry call("WaitStore::Settle", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    m_database.Guarded(
        [&]
        {
            const Query settle =
                m_database.Prepared("UPDATE waits SET stirred = 0 WHERE job = ? AND stirred = 1");
            settle->bind(1, state.number);
            settle->exec();
            const Query update =
                m_database.Prepared("UPDATE jobs SET held = ?1 WHERE number = ?2 AND held <> ?1");
            update->bind(1, int(hold));
            update->bind(2, state.number);
            update->exec();
        });
}

void WaitStore::NoteRemoval(const UID &job, const String &name, bool isDone, bool isGood)
{
    _CallEntry call("WaitStore::NoteRemoval", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    m_database.Guarded(
        [&]
        {
            const Query update = m_database.Prepared(
                "UPDATE waits SET stirred = 1, name = ?2, gone = iif(iif(good, ?4, ?3), 2, 1)"
                " WHERE other = ?1 AND gone = 0");
            update->bind(1, job.ToString());
            update->bind(2, name);
            update->bind(3, isDone ? 1 : 0);
            update->bind(4, isGood ? 1 : 0);
            update->exec();
        });
}

void WaitStore::Forget(const JobState &state)
{
    _CallEntry call("WaitStore::Forget", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    m_database.Guarded(
        [&]
        {
            const Query remove = m_database.Prepared("DELETE FROM waits WHERE job = ?");
            remove->bind(1, state.number);
            remove->exec();
        });
}

} // namespace master
