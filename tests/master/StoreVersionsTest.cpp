// Stores as earlier versions have written them, one a version, in stores/.
#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>
#include <set>

#include <gtest/gtest.h>

#include "corvan/Parameters.h"
#include "master/jobs/JobCache.h"
#include "master/store/JobStore.h"
#include "master/store/StoreSchema.h"
#include "ostrel/File.h"
#include "tests/master/TestJobs.h"
#include "tests/support/Printing.h"
#include "tests/support/TempFolder.h"

namespace master
{
namespace
{

UID Id(int number)
{
    return UID("aaaa1111-0000-4000-8000-00000000000" + std::to_string(number), true);
}

std::string Recorded(int version)
{
    return ostrel::File::ReadWhole(ORDWICK_SOURCE "/tests/master/stores/version" +
                                   std::to_string(version) + ".sql");
}

// All that a database says of its tables and indexes, whatever the layout of the words.
std::set<std::string> SchemaOf(SQLite::Database &database)
{
    std::set<std::string> schema;
    SQLite::Statement rows(database,
                           "SELECT sql FROM sqlite_master WHERE name NOT LIKE 'sqlite_%'");
    while (rows.executeStep())
    {
        std::string sql = rows.getColumn(0).getString();
        std::erase_if(sql, [](char c) { return c == ' ' || c == '\n'; });
        schema.insert(sql);
    }
    return schema;
}

class StoreOfVersion : public testing::TestWithParam<int>
{
protected:
    StoreOfVersion()
    {
        SQLite::Database database(m_file.Text(), SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
        database.exec(Recorded(GetParam()));
    }

    TestJobTypes m_types;
    TempFolder m_folder;
    Path m_file = m_folder / "jobs.db";
};

TEST_P(StoreOfVersion, IsReadAndGoesOn)
{
    JobStore store(m_file);
    EXPECT_EQ(store.MasterID().ToString(), "51b0a9f2-6f0d-4b7e-9d0c-33a9a1f2c001");

    const JobStatus statuses[] = {JobStatus::Done, JobStatus::Running, JobStatus::Paused,
                                  JobStatus::Failed};
    const unsigned totals[] = {3, 4, 2, 1};
    for (int number = 1; number <= 4; ++number)
    {
        const std::optional<JobState> state = store.FindState(Id(number));
        ASSERT_TRUE(state) << number;
        EXPECT_EQ(state->status, statuses[number - 1]);
        EXPECT_EQ(state->tasksTotal, totals[number - 1]);
    }

    JobStore::Turn turn(store);
    EXPECT_EQ(store.Tasks().RequeueRunning(), 1);
    ASSERT_EQ(store.Queue().FindPriority(101), 70);
    // Owners came with the sixth version.
    const std::vector<String> owners = store.Queue().ListOwners(70);
    ASSERT_EQ(owners.size(), 1u);
    const auto queued = store.Queue().FindJob(70, owners.front(), 0);
    ASSERT_TRUE(queued);
    const std::optional<JobState> next = store.FindState(queued->job);
    ASSERT_TRUE(next);
    EXPECT_EQ(next->id, Id(2));
    EXPECT_EQ(next->priority, 70);
    EXPECT_EQ(store.Tasks().List(*next).size(), 3u);
    turn.Commit();
}

TEST_P(StoreOfVersion, KeepsParametersTasksAndLogs)
{
    JobStore store(m_file);
    String reason;
    EXPECT_EQ(store.Load(Id(1), &reason)->Name(), "Türme");
    EXPECT_EQ(store.Load(Id(2), &reason)->ParameterText(corvan::p_UserRange, false), "2");
    EXPECT_EQ(store.Load(Id(3), &reason)->ParameterText("Script", false), "echo 'two\nlines'");
    EXPECT_EQ(store.Load(Id(4), &reason)->ParameterText(corvan::p_ImageFormat, false),
              "/r/a.%d;\"/r/b;.%d\"");

    const JobState done = *store.FindState(Id(1));
    const std::vector<TaskState> tasks = store.Tasks().List(done);
    ASSERT_EQ(tasks.size(), 3u);
    EXPECT_EQ(tasks[2].tries, 2u);
    EXPECT_EQ(tasks[2].failures, 1u);
    const bool hasLogs = GetParam() >= 2;
    EXPECT_EQ(LogNumber(done, tasks[1]), hasLogs ? 4 : 1);
    EXPECT_EQ(LogNumber(done, tasks[2]), hasLogs ? 12 : 2);

    const std::vector<TaskState> failed = store.Tasks().List(*store.FindState(Id(4)));
    ASSERT_EQ(failed.size(), 1u);
    EXPECT_EQ(failed[0].status, JobStatus::Failed);
    EXPECT_EQ(failed[0].exitCode, 9);
}

// A Master without owners has kept as a parameter what a client called one.
class StoreWithoutOwners : public StoreOfVersion
{
};

TEST_P(StoreWithoutOwners, HasNoneThatNoMasterHasSet)
{
    {
        SQLite::Database database(m_file.Text(), SQLite::OPEN_READWRITE);
        database.exec("INSERT INTO parameters SELECT number, 99, 'Owner', 'mallory' FROM jobs");
    }
    JobStore store(m_file);
    for (int number = 1; number <= 4; ++number)
        EXPECT_EQ(store.FindOwner(Id(number)), String()) << number;
}

TEST_P(StoreOfVersion, IsWhatTheReleasedStepsMake)
{
    SQLite::Database recorded(":memory:", SQLite::OPEN_READWRITE);
    recorded.exec(Recorded(GetParam()));
    SQLite::Database made(":memory:", SQLite::OPEN_READWRITE);
    MigrateStore(made, StoreMigrations().first(std::size_t(GetParam())));
    EXPECT_EQ(SchemaOf(recorded), SchemaOf(made));
}

// Whoever adds a version records a store of the one before it.
INSTANTIATE_TEST_SUITE_P(Earlier, StoreOfVersion, testing::Range(1, int(StoreMigrations().size())));

constexpr int k_first_with_owners = 4;
INSTANTIATE_TEST_SUITE_P(Earlier, StoreWithoutOwners, testing::Range(1, k_first_with_owners));

} // namespace
} // namespace master
