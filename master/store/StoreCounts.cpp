#include "master/store/StoreCounts.h"

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>
#include <SQLiteCpp/Transaction.h>

namespace master
{

namespace
{

constexpr int k_patience_ms = 2000;

void CountJobs(SQLite::Database &database, StoreCounts &counts)
{
    SQLite::Statement select(database,
                             "SELECT status, count(*), sum(tasks_done), sum(tasks_failed),"
                             " sum(tasks_total - tasks_done - tasks_failed)"
                             " FROM jobs GROUP BY status");
    while (select.executeStep())
    {
        const auto status = JobStatus(select.getColumn(0).getInt());
        counts.jobs[status] = select.getColumn(1).getInt64();
        counts.tasks[JobStatus::Done] += select.getColumn(2).getInt64();
        counts.tasks[JobStatus::Failed] += select.getColumn(3).getInt64();
        counts.tasks[status == JobStatus::Running ? JobStatus::Queued : status] +=
            select.getColumn(4).getInt64();
    }
}

// Those that run were counted among the rest of their jobs.
void CountRunning(SQLite::Database &database, StoreCounts &counts)
{
    SQLite::Statement select(database, "SELECT jobs.status, count(*) FROM tasks"
                                       " JOIN jobs ON jobs.number = tasks.job"
                                       " WHERE tasks.status = 1 GROUP BY jobs.status");
    while (select.executeStep())
    {
        const auto status = JobStatus(select.getColumn(0).getInt());
        const std::int64_t running = select.getColumn(1).getInt64();
        counts.tasks[JobStatus::Running] += running;
        counts.tasks[status == JobStatus::Running ? JobStatus::Queued : status] -= running;
    }
}

void FindOldest(SQLite::Database &database, StoreCounts &counts)
{
    SQLite::Statement select(database, "SELECT min(created) FROM jobs WHERE status IN (0, 1)"
                                       " AND held = 0 AND (next_task < tasks_total OR EXISTS"
                                       " (SELECT 1 FROM tasks WHERE tasks.job = jobs.number"
                                       " AND tasks.status = 0))");
    if (select.executeStep() && !select.getColumn(0).isNull())
        counts.oldestQueued = ostrel::Time(select.getColumn(0).getInt64());
}

} // namespace

StoreCounts CountStore(const Path &file)
{
    try
    {
        SQLite::Database database(file.Text(), SQLite::OPEN_READONLY, k_patience_ms);
        // All of one moment.
        const SQLite::Transaction moment(database);
        StoreCounts counts;
        CountJobs(database, counts);
        CountRunning(database, counts);
        FindOldest(database, counts);
        return counts;
    }
    catch (const SQLite::Exception &error)
    {
        throw new StoreException("cannot count in job store " + file.Text() + ": " + error.what());
    }
}

} // namespace master
