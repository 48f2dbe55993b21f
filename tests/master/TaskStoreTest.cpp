#include "master/store/TaskStore.h"

#include <SQLiteCpp/Database.h>

#include "tests/master/StoreFixture.h"

using corvan::JobStatus;
using master::JobState;
using master::TaskState;

namespace
{

using Records = std::vector<TaskState>;

class TaskStoreTest : public StoreFixture
{
protected:
    void Save(const Records &tasks)
    {
        InTurn(
            [&](master::Outbox &)
            {
                for (const TaskState &task : tasks)
                    m_store.Tasks().Save(m_job, task);
            });
    }

    void Replace(const Records &after)
    {
        InTurn([&](master::Outbox &)
               { m_store.Tasks().Replace(m_job, m_store.Tasks().List(m_job), after); });
    }

    Records List()
    {
        return m_store.Tasks().List(m_job);
    }

    JobState m_job = Add(*MakeTestJob({{"Range", "1-9"}}));
};

// Counts what is written of the tasks from here on.
class WriteCount
{
public:
    explicit WriteCount(const ostrel::Path &file)
        : m_database(file.Text(), SQLite::OPEN_READWRITE, 5000)
    {
        m_database.exec("CREATE TABLE writes(what TEXT)");
        for (const std::string what : {"INSERT", "UPDATE", "DELETE"})
            m_database.exec("CREATE TRIGGER count_" + what + " AFTER " + what +
                            " ON tasks BEGIN INSERT INTO writes VALUES('" + what + "'); END");
    }

    // Since the last time that it was asked.
    int Take(const std::string &what)
    {
        const int count =
            m_database.execAndGet("SELECT count(*) FROM writes WHERE what = '" + what + "'");
        m_database.exec("DELETE FROM writes WHERE what = '" + what + "'");
        return count;
    }

private:
    SQLite::Database m_database;
};

TaskState Task(unsigned index, JobStatus status = JobStatus::Done, std::int64_t log = -1)
{
    return {.index = index, .status = status, .tries = 1, .log = log};
}

} // namespace

TEST_F(TaskStoreTest, HasAfterAReplacementWhatWasGivenAndNothingElse)
{
    const struct
    {
        Records before, after;
    } cases[] = {
        {{}, {}},
        {{}, {Task(0), Task(4)}},
        {{Task(0), Task(4)}, {}},
        {{Task(0), Task(1), Task(2)}, {Task(1, JobStatus::Done, 1)}},
        {{Task(1)}, {Task(0), Task(1, JobStatus::Failed, 7), Task(2)}},
        {{Task(2), Task(3), Task(7), Task(8)}, {Task(0), Task(3, JobStatus::Done, 3), Task(9)}},
        {{Task(0), Task(5)}, {Task(0, JobStatus::Done, 0), Task(5, JobStatus::Done, 5)}},
        {{}, {{.index = 0, .status = JobStatus::Failed, .reason = "it left a process"}}},
        // Neighbours that are alike, and such as are not quite.
        {{Task(0), Task(1), Task(2)},
         {Task(1, JobStatus::Done, 0), Task(2, JobStatus::Done, 1), Task(3, JobStatus::Done, 2)}},
        {{Task(1)}, {Task(0), Task(1), Task(2), Task(4), Task(5, JobStatus::Failed)}},
        {{},
         {Task(0, JobStatus::Done, 7), Task(1, JobStatus::Done, 8), Task(2, JobStatus::Done, 8),
          Task(3), Task(4), Task(5, JobStatus::Failed, 9)}},
    };
    const JobState other = Add(*MakeTestJob({{"Range", "1-9"}}));
    InTurn([&](master::Outbox &) { m_store.Tasks().Save(other, Task(3)); });
    for (const auto &[before, after] : cases)
    {
        Save(before);
        Replace(after);
        EXPECT_EQ(List(), after) << before.size() << " to " << after.size();
        EXPECT_EQ(m_store.Tasks().List(other), Records{Task(3)});
        InTurn([&](master::Outbox &) { m_store.Tasks().Forget(m_job); });
    }
}

TEST_F(TaskStoreTest, AReplacementLeavesTheRecordsThatStay)
{
    Records tasks;
    for (unsigned index = 0; index < 100; ++index)
        tasks.push_back(Task(index));
    Save(tasks);
    WriteCount count(m_folder / "jobs.db");

    // Their logs get numbers, all at once.
    for (TaskState &task : tasks)
        task.log = m_job.logBase + task.index;
    Replace(tasks);
    EXPECT_EQ(count.Take("INSERT") + count.Take("DELETE"), 0);
    EXPECT_EQ(count.Take("UPDATE"), 100);

    tasks.erase(tasks.begin() + 40, tasks.begin() + 50);
    tasks.push_back(Task(100));
    Replace(tasks);
    EXPECT_EQ(count.Take("INSERT"), 1);
    EXPECT_EQ(count.Take("DELETE"), 10);
    EXPECT_EQ(count.Take("UPDATE"), 0);
    EXPECT_EQ(List(), tasks);
}
