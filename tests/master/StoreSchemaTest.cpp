#include "master/store/StoreSchema.h"

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/LogCapture.h"
#include "tests/support/TempFolder.h"
#include "tests/support/Thrown.h"

using master::MigrateStore;

namespace
{

const char *const k_one = "CREATE TABLE a(x); INSERT INTO a VALUES(1)";
const char *const k_two = "ALTER TABLE a ADD COLUMN y DEFAULT 5";
const char *const k_broken = "CREATE TABLE b(x); CREATE TABLE b(x)";

int Version(SQLite::Database &database)
{
    return database.execAndGet("PRAGMA user_version").getInt();
}

SQLite::Database InMemory()
{
    return SQLite::Database(":memory:", SQLite::OPEN_READWRITE);
}

} // namespace

TEST(StoreSchema, OfAnEmptyFileIsMadeByAllSteps)
{
    SQLite::Database database = InMemory();
    MigrateStore(database, std::vector{k_one, k_two});
    EXPECT_EQ(Version(database), 2);
    EXPECT_EQ(database.execAndGet("SELECT x + y FROM a").getInt(), 6);
}

TEST(StoreSchema, OfAnOlderVersionGetsTheStepsItLacks)
{
    SQLite::Database database = InMemory();
    MigrateStore(database, std::vector{k_one});
    EXPECT_EQ(Version(database), 1);
    MigrateStore(database, std::vector{k_one, k_two});
    MigrateStore(database, std::vector{k_one, k_two});
    EXPECT_EQ(Version(database), 2);
    EXPECT_EQ(database.execAndGet("SELECT x + y FROM a").getInt(), 6);
}

TEST(StoreSchema, OfANewerVersionIsRefused)
{
    SQLite::Database database = InMemory();
    MigrateStore(database, std::vector{k_one, k_two});
    EXPECT_EQ(Thrown([&] { MigrateStore(database, std::vector{k_one}); }),
              "it has version 2 of a newer corvan-master; this one knows up to version 1");
    EXPECT_EQ(Version(database), 2);
}

TEST(StoreSchema, IsUnchangedByAStepThatFails)
{
    SQLite::Database database = InMemory();
    EXPECT_THROW(MigrateStore(database, std::vector{k_one, k_broken}), SQLite::Exception);
    EXPECT_EQ(Version(database), 1);
    EXPECT_FALSE(database.tableExists("b"));
}

TEST(StoreSchema, TasksOfTheFirstVersionKeepTheLogsOfTheirNumbers)
{
    SQLite::Database database = InMemory();
    MigrateStore(database, master::StoreMigrations().first(1));
    database.exec("INSERT INTO jobs VALUES(1, 'a', 'b', 0, 2, 50, 3, 3, 0, 3);"
                  "INSERT INTO tasks VALUES(1, 2, 2, 1, 0, 0)");
    MigrateStore(database, master::StoreMigrations());
    EXPECT_EQ(database.execAndGet("SELECT log_base FROM jobs").getInt(), 0);
    EXPECT_LT(database.execAndGet("SELECT log FROM tasks").getInt(), 0);
}

TEST(StoreSchema, JobsOfTheFifthVersionKeepTheirOwnersAndWaitForNoOther)
{
    SQLite::Database database = InMemory();
    MigrateStore(database, master::StoreMigrations().first(5));
    database.exec("INSERT INTO jobs VALUES(1, 'a', 't', 0, 0, 50, 3, 0, 0, 0, 0, '', 0, '', 0);"
                  "INSERT INTO jobs VALUES(2, 'b', 't', 0, 0, 50, 3, 0, 0, 0, 0, '', 0, '', 0);"
                  "INSERT INTO parameters VALUES(1, 0, 'Owner', 'anna')");
    MigrateStore(database, master::StoreMigrations());
    EXPECT_EQ(database.execAndGet("SELECT owner FROM jobs WHERE id = 'a'").getString(), "anna");
    EXPECT_EQ(database.execAndGet("SELECT owner FROM jobs WHERE id = 'b'").getString(), "");
    EXPECT_EQ(database.execAndGet("SELECT sum(held) FROM jobs").getInt(), 0);
}

TEST(StoreSchema, JobsOfTheSecondVersionWaitForNothing)
{
    SQLite::Database database = InMemory();
    MigrateStore(database, master::StoreMigrations().first(2));
    // One that has got something done, and one that has not.
    database.exec("INSERT INTO jobs VALUES(1, 'a', 't', 0, 1, 50, 30, 1, 2, 9, 0);"
                  "INSERT INTO jobs VALUES(2, 'b', 't', 0, 1, 50, 30, 0, 9, 9, 0);"
                  "INSERT INTO tasks VALUES(1, 2, 3, 3, 3, 7, -1)");
    MigrateStore(database, master::StoreMigrations().first(3));
    EXPECT_EQ(Version(database), 3);
    EXPECT_EQ(database.execAndGet("SELECT waiting || reason FROM jobs JOIN tasks").getString(), "");
    EXPECT_EQ(database.execAndGet("SELECT first_failures FROM jobs WHERE id = 'a'").getInt(), -1);
    EXPECT_EQ(database.execAndGet("SELECT first_failures FROM jobs WHERE id = 'b'").getInt(), 0);
    EXPECT_EQ(database.execAndGet("SELECT exit_code FROM tasks").getInt(), 7);
}

// One a task, whatever the rows say of several.
static std::vector<std::string> TasksIn(SQLite::Database &database, const char *count)
{
    std::vector<std::string> tasks;
    SQLite::Statement rows(database, std::string("SELECT job, task, ") + count +
                                         ", status || ' ' || tries || ' ' || failures || ' ' ||"
                                         " exit_code || ' ' || log || ' ' || reason"
                                         " FROM tasks ORDER BY job, task");
    while (rows.executeStep())
        for (int i = 0; i < rows.getColumn(2).getInt(); ++i)
            tasks.push_back(std::to_string(rows.getColumn(0).getInt()) + " " +
                            std::to_string(rows.getColumn(1).getInt() + i) + ": " +
                            rows.getColumn(3).getString());
    return tasks;
}

TEST(StoreSchema, TasksOfTheThirdVersionAreOneRowWhereTheSameIsKnownOfThem)
{
    SQLite::Database database = InMemory();
    MigrateStore(database, master::StoreMigrations().first(3));
    std::mt19937 random(1);
    const auto oneOf = [&](std::initializer_list<const char *> some)
    { return std::string(some.begin()[random() % some.size()]); };
    for (int job = 1; job <= 6; ++job)
    {
        const char *const status = job <= 3 ? "2" : job <= 4 ? "5" : "1";
        database.exec("INSERT INTO jobs VALUES(" + std::to_string(job) + ", 'job" +
                      std::to_string(job) + "', 't', 0, " + status +
                      ", 50, 300, 0, 0, 300, 0, '', -1)");
        for (int task = 0; task < 300; ++task)
            if (random() % 10 != 0)
                database.exec("INSERT INTO tasks VALUES(" + std::to_string(job) + ", " +
                              std::to_string(task) + ", " + oneOf({"2", "2", "2", "2", "3", "0"}) +
                              ", " + oneOf({"1", "1", "1", "1", "1", "2"}) + ", 0, " +
                              oneOf({"0", "0", "0", "0", "0", "7"}) + ", " +
                              oneOf({"-1", "-1", "-1", "-1", "-1", "9"}) + ", '" +
                              oneOf({"", "", "", "", "", "it took too long"}) + "')");
    }
    const std::vector<std::string> before = TasksIn(database, "1");
    MigrateStore(database, master::StoreMigrations());
    EXPECT_EQ(TasksIn(database, "count"), before);
    EXPECT_LT(database.execAndGet("SELECT count(*) FROM tasks WHERE job <= 4").getInt(),
              database.execAndGet("SELECT sum(count) FROM tasks WHERE job <= 4").getInt());
    EXPECT_EQ(
        database.execAndGet("SELECT count(*) FROM tasks WHERE count > 1 AND job > 4").getInt(), 0)
        << "of a job that goes on each task has its own";
    EXPECT_EQ(database
                  .execAndGet("SELECT count(*) FROM tasks JOIN tasks AS next USING(job, status,"
                              " tries, failures, exit_code, reason) WHERE job <= 4"
                              " AND status IN (2, 3, 5) AND tasks.log < 0 AND next.log < 0"
                              " AND next.task = tasks.task + tasks.count")
                  .getInt(),
              0)
        << "none of them could be one with the next";
}

TEST(StoreSchema, ThatIsBroughtUpToDateSaysSoAndANewOneDoesNot)
{
    SQLite::Database database = InMemory();
    const LogCapture log(ostrel::k_LogStatus);
    MigrateStore(database, std::vector{k_one});
    EXPECT_EQ(log.Texts(ostrel::k_LogStatus), std::vector<std::string>{});
    MigrateStore(database, std::vector{k_one, k_two});
    MigrateStore(database, std::vector{k_one, k_two});
    EXPECT_EQ(log.Texts(ostrel::k_LogStatus),
              (std::vector<std::string>{"the job store is brought from version 1 to version 2; "
                                        "with millions of tasks that takes a while",
                                        "the job store has version 2"}));
}
