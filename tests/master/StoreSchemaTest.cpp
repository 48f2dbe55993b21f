#include "master/store/StoreSchema.h"

#include <SQLiteCpp/Database.h>

#include <gtest/gtest.h>

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
