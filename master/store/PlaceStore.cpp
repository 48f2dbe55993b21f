#include "master/store/PlaceStore.h"

#include <cassert>

#include "master/store/JobStore.h"
#include "master/store/StoreDatabase.h"
#include "ostrel/CallEntry.h"

namespace master
{

using ostrel::_CallEntry;

void PlaceStore::Save(const JobState &state, std::int64_t log, const TaskPlace &place)
{
    _CallEntry call("PlaceStore::Save", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    m_database.Guarded(
        [&]
        {
            const Query put = m_database.Prepared(
                "INSERT OR REPLACE INTO places(job, log, batch, element, node, number, state)"
                " VALUES(?,?,?,?,?,?,?)");
            put->bind(1, state.number);
            put->bind(2, log);
            put->bind(3, place.batch.ToString());
            put->bind(4, place.element);
            put->bind(5, place.node);
            put->bind(6, place.number);
            put->bind(7, place.state);
            put->exec();
        });
}

void PlaceStore::SaveEnd(const JobState &state, std::int64_t log, const TaskPlace &place)
{
    _CallEntry call("PlaceStore::SaveEnd", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    m_database.Guarded(
        [&]
        {
            const Query update = m_database.Prepared(
                "UPDATE places SET node = ?, number = ?, state = ? WHERE job = ? AND log = ?");
            update->bind(1, place.node);
            update->bind(2, place.number);
            update->bind(3, place.state);
            update->bind(4, state.number);
            update->bind(5, log);
            update->exec();
        });
}

std::map<std::int64_t, TaskPlace> PlaceStore::List(const JobState &state)
{
    _CallEntry call("PlaceStore::List", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    return m_database.Guarded(
        [&]
        {
            std::map<std::int64_t, TaskPlace> places;
            const Query select = m_database.Prepared(
                "SELECT log, batch, element, node, number, state FROM places WHERE job = ?");
            select->bind(1, state.number);
            while (select->executeStep())
            {
                TaskPlace &place = places[select->getColumn(0).getInt64()];
                place.batch = UID(select->getColumn(1).getString(), false);
                place.element = select->getColumn(2).getUInt();
                place.node = select->getColumn(3).getString();
                place.number = select->getColumn(4).getString();
                place.state = select->getColumn(5).getString();
            }
            return places;
        });
}

std::vector<PlaceStore::Running> PlaceStore::ListRunning()
{
    _CallEntry call("PlaceStore::ListRunning", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    return m_database.Guarded(
        [&]
        {
            std::vector<Running> all;
            const Query select = m_database.Prepared(
                "SELECT jobs.id, tasks.task, jobs.status, jobs.priority, places.batch,"
                " places.element, jobs.owner FROM tasks INDEXED BY tasks_running"
                " JOIN jobs ON jobs.number = tasks.job"
                " JOIN places ON places.job = tasks.job AND places.log ="
                " iif(tasks.log < 0, jobs.log_base + tasks.task, tasks.log)"
                " WHERE tasks.status = 1 ORDER BY tasks.job, tasks.task");
            while (select->executeStep())
            {
                Running one;
                one.job = UID(select->getColumn(0).getString(), false);
                one.task = select->getColumn(1).getUInt();
                one.status = JobStatus(select->getColumn(2).getInt());
                one.priority = select->getColumn(3).getInt();
                one.place.batch = UID(select->getColumn(4).getString(), false);
                one.place.element = select->getColumn(5).getUInt();
                one.owner = select->getColumn(6).getString();
                all.push_back(one);
            }
            return all;
        });
}

bool PlaceStore::HasAny()
{
    _CallEntry call("PlaceStore::HasAny", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    return m_database.Guarded(
        [&]
        {
            const Query select = m_database.Prepared("SELECT EXISTS (SELECT 1 FROM places)");
            select->executeStep();
            return select->getColumn(0).getInt() != 0;
        });
}

void PlaceStore::Forget(const JobState &state)
{
    _CallEntry call("PlaceStore::Forget", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    m_database.Guarded(
        [&]
        {
            const Query remove = m_database.Prepared("DELETE FROM places WHERE job = ?");
            remove->bind(1, state.number);
            remove->exec();
        });
}

void PlaceStore::ForgetAll()
{
    _CallEntry call("PlaceStore::ForgetAll", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    m_database.Guarded([&] { m_database.Prepared("DELETE FROM places")->exec(); });
}

} // namespace master
