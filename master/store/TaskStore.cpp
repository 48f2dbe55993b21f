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

// Whether the record `distance` behind another says the same, its log counted on too.
bool IsLike(const TaskState &task, const TaskState &first, unsigned distance)
{
    TaskState expected = first;
    expected.index += distance;
    if (expected.log >= 0)
        expected.log += distance;
    return task == expected;
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

void TaskStore::Replace(const JobState &state, std::vector<TaskState> before,
                        const std::vector<TaskState> &after)
{
    _CallEntry call("TaskStore::Replace", __FILE__, __LINE__);

    if (!after.empty())
        NameLogs(state, before);
    auto old = before.cbegin();
    std::int64_t next = 0; // The first number of which nothing is said yet.
    TaskState first;       // Of the run that is still to be written, and its length.
    unsigned count = 0;
    for (const TaskState &task : after)
    {
        const auto gap = old;
        while (old != before.cend() && old->index < task.index)
            ++old;
        if (old != gap)
            ForgetBetween(state, next, std::int64_t(task.index) - 1);
        next = std::int64_t(task.index) + 1;

        const bool isThere = old != before.cend() && old->index == task.index;
        const bool isNews = !isThere || *old != task;
        if (isThere)
            ++old;
        if (isNews && count > 0 && IsLike(task, first, count))
        {
            ++count;
            continue;
        }
        if (isNews)
        {
            SaveRun(state, first, count);
            first = task;
            count = 1;
        }
    }
    SaveRun(state, first, count);
    if (old != before.cend())
        ForgetBetween(state, next, before.back().index);
}

// So many records that are alike, from the first one on.
void TaskStore::SaveRun(const JobState &state, const TaskState &first, unsigned count)
{
    _CallEntry call("TaskStore::SaveRun", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    if (count == 0)
        return;
    m_database.Guarded(
        [&]
        {
            const Query put = m_database.Prepared(
                "WITH RECURSIVE numbers(task) AS"
                " (VALUES(?2) UNION ALL SELECT task + 1 FROM numbers WHERE task < ?3)"
                " INSERT INTO tasks(job, task, status, tries, failures, exit_code, log, reason)"
                " SELECT ?1, task, ?4, ?5, ?6, ?7, ?8 + ?9 * (task - ?2), ?10 FROM numbers"
                " WHERE true"
                " ON CONFLICT(job, task) DO UPDATE SET status = excluded.status,"
                " tries = excluded.tries, failures = excluded.failures,"
                " exit_code = excluded.exit_code, log = excluded.log, reason = excluded.reason");
            put->bind(1, state.number);
            put->bind(2, first.index);
            put->bind(3, std::int64_t(first.index) + count - 1);
            put->bind(4, int(first.status));
            put->bind(5, first.tries);
            put->bind(6, first.failures);
            put->bind(7, first.exitCode);
            put->bind(8, first.log);
            put->bind(9, first.log < 0 ? 0 : 1);
            put->bind(10, first.reason);
            put->exec();
        });
}

// Logs that go by the tasks' numbers get numbers of their own.
void TaskStore::NameLogs(const JobState &state, std::vector<TaskState> &tasks)
{
    _CallEntry call("TaskStore::NameLogs", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    m_database.Guarded(
        [&]
        {
            const Query update =
                m_database.Prepared("UPDATE tasks SET log = ? + task WHERE job = ? AND log < 0");
            update->bind(1, state.logBase);
            update->bind(2, state.number);
            update->exec();
        });
    for (TaskState &task : tasks)
        task.log = LogNumber(state, task);
}

// Both ends among them.
void TaskStore::ForgetBetween(const JobState &state, std::int64_t first, std::int64_t last)
{
    _CallEntry call("TaskStore::ForgetBetween", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    m_database.Guarded(
        [&]
        {
            const Query remove =
                m_database.Prepared("DELETE FROM tasks WHERE job = ? AND task BETWEEN ? AND ?");
            remove->bind(1, state.number);
            remove->bind(2, first);
            remove->bind(3, last);
            remove->exec();
        });
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
