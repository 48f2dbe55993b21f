#include "master/store/StoreFiles.h"

#include <SQLiteCpp/Database.h>
#include <fstream>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "master/store/JobStore.h"
#include "tests/master/TestJobs.h"
#include "tests/support/Printing.h"
#include "tests/support/TempFolder.h"
#include "tests/support/Thrown.h"

namespace master
{
namespace
{

class StoreFiles : public testing::Test
{
protected:
    // A store with so many jobs that it has many pages.
    void MakeStore(const Path &file, int jobs)
    {
        JobStore store(file);
        AddJobs(store, jobs);
    }

    static void AddJobs(JobStore &store, int jobs)
    {
        JobStore::Turn turn(store);
        for (int i = 0; i < jobs; ++i)
        {
            const auto job = MakeTestJob({{"Range", "1"}, {"Note", String(2000, 'n')}});
            JobState state;
            state.id = job->ID();
            state.tasksTotal = 1;
            store.Add(*job, state);
        }
        turn.Commit();
    }

    static int CountJobs(const Path &file)
    {
        JobStore store(file);
        int count = 0;
        std::int64_t number = JobStore::k_BeyondNewest;
        for (; const auto state = store.FindOlder(number); ++count)
            number = state->number;
        return count;
    }

    // Bytes in the middle, the length stays.
    static void Damage(const Path &file)
    {
        std::fstream open(file.Text(), std::ios::in | std::ios::out | std::ios::binary);
        open.seekp(0, std::ios::end);
        const auto size = open.tellp();
        ASSERT_GT(size, 20'000);
        for (auto at = std::streamoff(8192); at < size; at += 4096)
        {
            open.seekp(at);
            open << std::string(64, '\xee');
        }
    }

    // The head of the page that was written last, which nobody reads to open the store.
    static void DamageLastPage(const Path &file)
    {
        std::fstream open(file.Text(), std::ios::in | std::ios::out | std::ios::binary);
        open.seekp(-4096, std::ios::end);
        open << std::string(64, '\xee');
    }

    static bool IsThere(const Path &file)
    {
        return ::access(file.Text().c_str(), F_OK) == 0;
    }

    TestJobTypes m_types;
    TempFolder m_folder;
    Path m_store = m_folder / "jobs.db";
    Path m_copy = m_folder / "copy.db";
};

TEST_F(StoreFiles, ThatAreWholeAreFoundSo)
{
    MakeStore(m_store, 5);
    EXPECT_EQ(CheckStore(m_store), std::vector<String>());
    EXPECT_EQ(CountJobs(m_store), 5) << "and a Master may still open them";
}

TEST_F(StoreFiles, ThatAreDamagedAreNotServed)
{
    MakeStore(m_store, 50);
    Damage(m_store);
    EXPECT_FALSE(CheckStore(m_store).empty());
    const std::string told = Thrown([&] { JobStore store(m_store); });
    EXPECT_TRUE(told.starts_with("cannot open job store " + m_store.Text() +
                                 ": it is damaged, and nothing is served from it: "))
        << told;
    EXPECT_NE(told.find("corvan-master store restore BACKUP --data " + m_folder.Folder().Text()),
              std::string::npos)
        << told;
}

TEST_F(StoreFiles, ThatAreDamagedInOnePageAreNeitherServedNorCopied)
{
    MakeStore(m_store, 50);
    DamageLastPage(m_store);
    EXPECT_NE(Thrown([&] { JobStore store(m_store); }).find("it is damaged"), std::string::npos);
    EXPECT_NE(Thrown([&] { BackUpStore(m_store, m_copy); }), "(nothing thrown)");
    EXPECT_EQ(m_folder.Listing().find("copy"), std::string::npos) << m_folder.Listing();
}

TEST_F(StoreFiles, ThatAreNoStoresAreNotServed)
{
    m_folder.MakeFile("jobs.db", String(10'000, 'x'));
    EXPECT_EQ(CheckStore(m_store), std::vector<String>{"file is not a database"});
    EXPECT_NE(Thrown([&] { JobStore store(m_store); }).find("it is damaged"), std::string::npos);
    EXPECT_EQ(Thrown([&] { CheckStore(m_folder / "none"); }),
              "cannot read " + (m_folder / "none").Text() + ": No such file or directory");
}

TEST_F(StoreFiles, AreCopiedWhileAMasterWorksWithThem)
{
    JobStore store(m_store);
    AddJobs(store, 20);
    {
        JobStore::Turn turn(store);
        const auto job = MakeTestJob({{"Range", "1"}});
        JobState state;
        state.id = job->ID();
        store.Add(*job, state);
        BackUpStore(m_store, m_copy);
        turn.Commit();
    }
    struct stat found = {};
    ASSERT_EQ(::stat(m_copy.Text().c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 0777, 0600u);
    EXPECT_EQ(m_folder.Listing(), "copy.db\njobs.db\njobs.db-shm\njobs.db-wal\n");
    EXPECT_EQ(CountJobs(m_copy), 20) << "what was not committed is not in it";
    AddJobs(store, 1);
}

TEST_F(StoreFiles, AreNotCopiedOverAnything)
{
    MakeStore(m_store, 1);
    m_folder.MakeFile("copy.db", "mine");
    EXPECT_EQ(Thrown([&] { BackUpStore(m_store, m_copy); }), m_copy.Text() + " is there already");
    EXPECT_EQ(ContentOf(m_copy), "mine");
}

TEST_F(StoreFiles, ThatAreDamagedMakeNoCopy)
{
    MakeStore(m_store, 50);
    Damage(m_store);
    EXPECT_NE(Thrown([&] { BackUpStore(m_store, m_copy); }), "(nothing thrown)");
    EXPECT_EQ(m_folder.Listing().find("copy"), std::string::npos) << m_folder.Listing();
}

TEST_F(StoreFiles, ComeBackFromACopyAndKeepWhatWasThere)
{
    MakeStore(m_store, 3);
    BackUpStore(m_store, m_copy);
    MakeStore(m_store, 2);
    const std::optional<Path> kept = RestoreStore(m_copy, m_store);
    EXPECT_EQ(CountJobs(m_store), 3);
    ASSERT_TRUE(kept);
    EXPECT_EQ(CountJobs(*kept), 5);
    EXPECT_EQ(RestoreStore(m_copy, m_folder / "new.db"), std::nullopt);
    EXPECT_EQ(CountJobs(m_folder / "new.db"), 3);
}

TEST_F(StoreFiles, ThatAreDamagedAreKeptWithTheirLog)
{
    MakeStore(m_copy, 3);
    m_folder.MakeFile("jobs.db", "damaged");
    m_folder.MakeFile("jobs.db-wal", "its log");
    const std::optional<Path> kept = RestoreStore(m_copy, m_store);
    ASSERT_TRUE(kept);
    EXPECT_EQ(ContentOf(*kept), "damaged");
    EXPECT_EQ(ContentOf(String(kept->Text() + "-wal")), "its log");
    EXPECT_EQ(CountJobs(m_store), 3);
}

TEST_F(StoreFiles, ComeBackFromNothingElse)
{
    MakeStore(m_store, 2);
    m_folder.MakeFile("text.db", "no store");
    MakeStore(m_folder / "damaged.db", 50);
    Damage(m_folder / "damaged.db");
    MakeStore(m_folder / "newer.db", 1);
    SQLite::Database((m_folder / "newer.db").Text(), SQLite::OPEN_READWRITE)
        .exec("PRAGMA user_version = 1000");
    SQLite::Database((m_folder / "other.db").Text(), SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE)
        .exec("CREATE TABLE a(x); PRAGMA user_version = 1");

    const struct
    {
        const char *file;
        const char *reason;
    } cases[] = {
        {"none.db", "cannot read"},
        {"text.db", "file is not a database"},
        {"damaged.db", ""},
        {"newer.db", "is of version 1000 of a newer corvan-master"},
        {"other.db", "is no job store"},
    };
    for (const auto &[file, reason] : cases)
    {
        const std::string told =
            Thrown([this, name = file] { RestoreStore(m_folder / name, m_store); });
        EXPECT_NE(told.find(reason), std::string::npos) << told;
        EXPECT_NE(told, "(nothing thrown)") << file;
        EXPECT_EQ(CountJobs(m_store), 2) << file;
        EXPECT_FALSE(IsThere(m_folder / "jobs.db.restoring")) << file;
    }
}

TEST_F(StoreFiles, OfARestoreThatWasCutShortAreNoNewStore)
{
    MakeStore(m_copy, 2);
    m_folder.MakeFile("jobs.db.restoring", "half of it");
    EXPECT_TRUE(IsRestoreCutShort(m_store));
    EXPECT_NE(Thrown([&] { JobStore store(m_store); }).find("a restore was cut short"),
              std::string::npos);
    EXPECT_FALSE(IsThere(m_store));
    RestoreStore(m_copy, m_store);
    EXPECT_EQ(CountJobs(m_store), 2);

    m_folder.MakeFile("jobs.db.restoring", "half of it");
    EXPECT_EQ(CountJobs(m_store), 2) << "nothing was put aside yet";
}

} // namespace
} // namespace master
