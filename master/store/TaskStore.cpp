#include "master/store/TaskStore.h"

#include <cassert>

#include "master/store/JobStore.h"
#include "master/store/StoreDatabase.h"
#include "ostrel/CallEntry.h"

namespace master
{

using ostrel::_CallEntry;

namespace
{

TaskState ReadTask(SQLite::Statement &row)
{
    TaskState task;
    task.index = row.getColumn(0).getUInt();
    task.status = JobStatus(row.getColumn(1).getInt());
    task.tries = row.getColumn(2).getUInt();
    task.failures = row.getColumn(3).getUInt();
    task.exitCode = row.getColumn(4).getInt();
    task.log = row.getColumn(5).getInt64();
    task.reason = row.getColumn(6).getString();
    return task;
}

} // namespace

TaskStore::TaskStore(StoreDatabase &database) : m_database(database)
{
    _CallEntry call("TaskStore::TaskStore", __FILE__, __LINE__);
}

std::optional<TaskState> TaskStore::FindNext(const JobState &state,
                                             const std::set<unsigned> &passOver)
{
    _CallEntry call("TaskStore::FindNext", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    return m_database.Guarded(
        [&]() -> std::optional<TaskState>
        {
            const Query select = m_database.Prepared(
                "SELECT task, status, tries, failures, exit_code, log, reason FROM tasks"
                " WHERE job = ? AND status = 0 ORDER BY task");
            select->bind(1, state.number);
            while (select->executeStep())
                if (!passOver.contains(select->getColumn(0).getUInt()))
                    return ReadTask(*select);
            if (state.nextTask < state.tasksTotal)
                return TaskState{.index = state.nextTask};
            return std::nullopt;
        });
}

std::optional<TaskState> TaskStore::Find(const JobState &state, unsigned index)
{
    _CallEntry call("TaskStore::Find", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    return m_database.Guarded(
        [&]() -> std::optional<TaskState>
        {
            const Query select = m_database.Prepared(
                "SELECT task, status, tries, failures, exit_code, log, reason FROM tasks"
                " WHERE job = ? AND task = ?");
            select->bind(1, state.number);
            select->bind(2, index);
            if (!select->executeStep())
                return std::nullopt;
            return ReadTask(*select);
        });
}

std::vector<TaskState> TaskStore::List(const JobState &state)
{
    _CallEntry call("TaskStore::List", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    return m_database.Guarded(
        [&]
        {
            std::vector<TaskState> tasks;
            const Query select = m_database.Prepared(
                "SELECT task, status, tries, failures, exit_code, log, reason FROM tasks"
                " WHERE job = ? ORDER BY task");
            select->bind(1, state.number);
            while (select->executeStep())
                tasks.push_back(ReadTask(*select));
            return tasks;
        });
}

bool TaskStore::HasAny(const JobState &state)
{
    _CallEntry call("TaskStore::HasAny", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    return m_database.Guarded(
        [&]
        {
            const Query select =
                m_database.Prepared("SELECT EXISTS (SELECT 1 FROM tasks WHERE job = ?)");
            select->bind(1, state.number);
            select->executeStep();
            return select->getColumn(0).getInt() != 0;
        });
}

unsigned TaskStore::FindUntouched(const JobState &state, unsigned from)
{
    _CallEntry call("TaskStore::FindUntouched", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    return m_database.Guarded(
        [&]
        {
            const Query select = m_database.Prepared(
                "SELECT task FROM tasks WHERE job = ? AND task >= ? ORDER BY task");
            select->bind(1, state.number);
            select->bind(2, from);
            unsigned untouched = from;
            while (select->executeStep() && select->getColumn(0).getUInt() == untouched)
                ++untouched;
            return untouched;
        });
}

void TaskStore::Save(const JobState &state, const TaskState &task)
{
    _CallEntry call("TaskStore::Save", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    m_database.Guarded(
        [&]
        {
            const Query put = m_database.Prepared(
                "INSERT OR REPLACE INTO tasks(job, task, status, tries, failures, exit_code, log,"
                " reason) VALUES(?,?,?,?,?,?,?,?)");
            put->bind(1, state.number);
            put->bind(2, task.index);
            put->bind(3, int(task.status));
            put->bind(4, task.tries);
            put->bind(5, task.failures);
            put->bind(6, task.exitCode);
            put->bind(7, task.log);
            put->bind(8, task.reason);
            put->exec();
        });
}

void TaskStore::Replace(const JobState &state, const std::vector<TaskState> &tasks)
{
    _CallEntry call("TaskStore::Replace", __FILE__, __LINE__);

    if (List(state) == tasks)
        return;
    Forget(state);
    for (const TaskState &task : tasks)
        Save(state, task);
}

void TaskStore::Forget(const JobState &state)
{
    _CallEntry call("TaskStore::Forget", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    m_database.Guarded(
        [&]
        {
            const Query remove = m_database.Prepared("DELETE FROM tasks WHERE job = ?");
            remove->bind(1, state.number);
            remove->exec();
        });
}

void TaskStore::SetRunning(const JobState &state, JobStatus status)
{
    _CallEntry call("TaskStore::SetRunning", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    m_database.Guarded(
        [&]
        {
            const Query update =
                m_database.Prepared("UPDATE tasks SET status = ? WHERE job = ? AND status = 1");
            update->bind(1, int(status));
            update->bind(2, state.number);
            update->exec();
        });
}

int TaskStore::RequeueRunning()
{
    _CallEntry call("TaskStore::RequeueRunning", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    return m_database.Guarded(
        [&]
        {
            const Query update =
                m_database.Prepared("UPDATE tasks SET status = 0 WHERE status = 1");
            return update->exec();
        });
}

} // namespace master
