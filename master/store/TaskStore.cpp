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

// Of a job that is over, tasks next to each other share a record where the same is known of them:
// it is that of the first.
struct Record
{
    TaskState first;
    unsigned count = 1;

    unsigned End() const
    {
        return first.index + count;
    }
};

Record ReadRecord(SQLite::Statement &row)
{
    Record record;
    TaskState &task = record.first;
    task.index = row.getColumn(0).getUInt();
    task.status = JobStatus(row.getColumn(1).getInt());
    task.tries = row.getColumn(2).getUInt();
    task.failures = row.getColumn(3).getUInt();
    task.exitCode = row.getColumn(4).getInt();
    task.log = row.getColumn(5).getInt64();
    task.reason = row.getColumn(7).getString();
    record.count = row.getColumn(6).getUInt();
    return record;
}

TaskState TaskOf(const Record &record, unsigned index)
{
    TaskState task = record.first;
    task.index = index;
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

// What runs or waits is looked for by its status, each task by itself.
bool MayShare(const TaskState &task)
{
    return corvan::IsOver(task.status) && task.log < 0;
}

bool Share(Record &record, const Record &next)
{
    if (!MayShare(record.first) || next.first.index != record.End() ||
        TaskOf(next, record.first.index) != record.first)
        return false;
    record.count += next.count;
    return true;
}

std::optional<Record> FindRecord(StoreDatabase &database, const JobState &state, unsigned index)
{
    const Query select = database.Prepared(
        "SELECT task, status, tries, failures, exit_code, log, count, reason FROM tasks"
        " WHERE job = ? AND task <= ? ORDER BY task DESC LIMIT 1");
    select->bind(1, state.number);
    select->bind(2, index);
    if (!select->executeStep())
        return std::nullopt;
    const Record record = ReadRecord(*select);
    return index < record.End() ? std::optional(record) : std::nullopt;
}

std::vector<Record> ListRecords(StoreDatabase &database, const JobState &state)
{
    std::vector<Record> records;
    const Query select = database.Prepared(
        "SELECT task, status, tries, failures, exit_code, log, count, reason FROM tasks"
        " WHERE job = ? ORDER BY task");
    select->bind(1, state.number);
    while (select->executeStep())
        records.push_back(ReadRecord(*select));
    return records;
}

void PutRecord(StoreDatabase &database, const JobState &state, const Record &record)
{
    const Query put = database.Prepared(
        "INSERT OR REPLACE INTO tasks(job, task, status, tries, failures, exit_code, log, count,"
        " reason) VALUES(?,?,?,?,?,?,?,?,?)");
    const TaskState &task = record.first;
    put->bind(1, state.number);
    put->bind(2, task.index);
    put->bind(3, int(task.status));
    put->bind(4, task.tries);
    put->bind(5, task.failures);
    put->bind(6, task.exitCode);
    put->bind(7, task.log);
    put->bind(8, record.count);
    put->bind(9, task.reason);
    put->exec();
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
                // By itself SQLite walks through all tasks of the job.
                "SELECT task, status, tries, failures, exit_code, log, count, reason FROM tasks"
                " INDEXED BY tasks_queued WHERE job = ? AND status = 0 ORDER BY task");
            select->bind(1, state.number);
            while (select->executeStep())
                if (!passOver.contains(select->getColumn(0).getUInt()))
                    return ReadRecord(*select).first;
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
            const std::optional<Record> record = FindRecord(m_database, state, index);
            return record ? std::optional(TaskOf(*record, index)) : std::nullopt;
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
            for (const Record &record : ListRecords(m_database, state))
                for (unsigned index = record.first.index; index < record.End(); ++index)
                    tasks.push_back(TaskOf(record, index));
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
            unsigned untouched = from;
            if (const auto record = FindRecord(m_database, state, from))
                untouched = record->End();
            const Query select = m_database.Prepared(
                "SELECT task, count FROM tasks WHERE job = ? AND task >= ? ORDER BY task");
            select->bind(1, state.number);
            select->bind(2, untouched);
            while (select->executeStep() && select->getColumn(0).getUInt() == untouched)
                untouched += select->getColumn(1).getUInt();
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
            if (const auto shared = FindRecord(m_database, state, task.index);
                shared && shared->count > 1)
                SaveRun(state, shared->first, shared->count);
            PutRecord(m_database, state, {task});
        });
}

void TaskStore::Pack(const JobState &state)
{
    _CallEntry call("TaskStore::Pack", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    m_database.Guarded(
        [&]
        {
            const std::vector<Record> records = ListRecords(m_database, state);
            std::vector<Record> packed;
            for (const Record &record : records)
                if (packed.empty() || !Share(packed.back(), record))
                    packed.push_back(record);
            if (packed.size() == records.size())
                return;
            Forget(state);
            for (const Record &record : packed)
                PutRecord(m_database, state, record);
        });
}

// Each task has a record of its own again.
void TaskStore::Unpack(const JobState &state)
{
    _CallEntry call("TaskStore::Unpack", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    m_database.Guarded(
        [&]
        {
            for (const Record &record : ListRecords(m_database, state))
                if (record.count > 1)
                    SaveRun(state, record.first, record.count);
        });
}

void TaskStore::Replace(const JobState &state, std::vector<TaskState> before,
                        const std::vector<TaskState> &after)
{
    _CallEntry call("TaskStore::Replace", __FILE__, __LINE__);

    Unpack(state);
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
                " exit_code = excluded.exit_code, log = excluded.log, count = 1,"
                " reason = excluded.reason");
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

int TaskStore::RequeueRunning(Requeue which)
{
    _CallEntry call("TaskStore::RequeueRunning", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    return m_database.Guarded(
        [&]
        {
            const Query update = m_database.Prepared(
                which == Requeue::All
                    ? "UPDATE tasks SET status = 0 WHERE status = 1"
                    : "UPDATE tasks SET status = 0 WHERE status = 1 AND NOT EXISTS"
                      " (SELECT 1 FROM jobs JOIN places ON places.job = jobs.number"
                      " WHERE jobs.number = tasks.job AND places.log ="
                      " iif(tasks.log < 0, jobs.log_base + tasks.task, tasks.log))");
            return update->exec();
        });
}

} // namespace master
