#include "master/store/StoreCheck.h"

#include <SQLiteCpp/Database.h>
#include <fstream>
#include <future>
#include <unistd.h>

#include <gtest/gtest.h>

#include "master/store/JobStore.h"
#include "master/store/OpenNote.h"
#include "ostrel/Log.h"
#include "tests/master/RunningMaster.h"
#include "tests/master/TestJobs.h"
#include "tests/support/Printing.h"
#include "tests/support/TempFolder.h"
#include "tests/support/Thrown.h"

using namespace std::chrono_literals;

namespace master
{
namespace
{

// So long that it is no limit.
constexpr std::chrono::minutes k_long{5};

class StoreCheckTest : public testing::Test
{
protected:
    // Of jobs that nobody looks at by himself.
    void MakeStore()
    {
        JobStore store(m_store);
        JobStore::Turn turn(store);
        for (int i = 0; i < 50; ++i)
        {
            const auto job = MakeTestJob({{"Range", "1"}, {"Note", String(2000, 'n')}});
            JobState state;
            state.id = job->ID();
            state.status = JobStatus::Paused;
            state.tasksTotal = 1;
            store.Add(*job, state);
        }
        turn.Commit();
    }

    // The last page: it holds what was written last, parameters of the last job.
    void Damage() const
    {
        std::fstream open(m_store.Text(), std::ios::in | std::ios::out | std::ios::binary);
        open.seekp(-4096, std::ios::end);
        open << std::string(64, '\xee');
    }

    bool HasNote() const
    {
        return ::access(m_note.Text().c_str(), F_OK) == 0;
    }

    std::string ReasonNotToOpen(std::chrono::milliseconds patience) const
    {
        return Thrown([&] { JobStore store(m_store, patience); });
    }

    TestJobTypes m_types;
    TempFolder m_folder;
    Path m_store = m_folder / "data/jobs.db";
    Path m_note = m_folder / "data/jobs.db.open";
    Path m_aside = m_folder.MakeFile("data/aside", "");
};

TEST_F(StoreCheckTest, FindsNothingInAStoreThatIsWhole)
{
    MakeStore();
    JobStore store(m_store);
    StoreCheck check(m_store);
    const auto finding = check.Wait(k_long);
    ASSERT_TRUE(finding);
    EXPECT_EQ(finding->damage + finding->trouble, "");
}

TEST_F(StoreCheckTest, FindsDamageAndTellsItEarlyAndLate)
{
    MakeStore();
    Damage();
    StoreCheck check(m_store);
    std::promise<String> told;
    check.WhenThrough([&](const StoreCheck::Finding &finding) { told.set_value(finding.damage); });
    const String early = told.get_future().get();
    EXPECT_NE(early, "");
    const auto late = check.Wait(k_long);
    ASSERT_TRUE(late);
    EXPECT_EQ(late->damage, early);
}

TEST_F(StoreCheckTest, TellsOfAStoreThatCannotBeReadThatNobodyKnows)
{
    StoreCheck check(m_folder / "data/none.db");
    const auto finding = check.Wait(k_long);
    ASSERT_TRUE(finding);
    EXPECT_EQ(finding->damage, "");
    EXPECT_NE(finding->trouble, "");
}

TEST_F(StoreCheckTest, OfAStoreThatIsOpenedWithoutPatienceGoesOn)
{
    MakeStore();
    JobStore store(m_store, 0ms);
    ASSERT_NE(store.CheckUnderWay(), nullptr);
    const auto finding = store.CheckUnderWay()->Wait(k_long);
    ASSERT_TRUE(finding);
    EXPECT_EQ(finding->damage + finding->trouble, "");
}

TEST_F(StoreCheckTest, OfAStoreThatIsOpenedWithPatienceIsOver)
{
    MakeStore();
    EXPECT_EQ(JobStore(m_store, k_long).CheckUnderWay(), nullptr);
    Damage();
    const std::string reason = ReasonNotToOpen(k_long);
    EXPECT_TRUE(reason.starts_with("cannot open job store " + m_store.Text() + ": it is damaged"))
        << reason;
}

TEST_F(StoreCheckTest, IsOverBeforeAStoreIsBroughtUpToDateOrLeftByARestore)
{
    for (const char *change : {"PRAGMA user_version = 3", "PRAGMA journal_mode = DELETE"})
    {
        ::unlink(m_store.Text().c_str());
        MakeStore();
        SQLite::Database(m_store.Text(), SQLite::OPEN_READWRITE).exec(change);
        Damage();
        EXPECT_NE(ReasonNotToOpen(0ms).find("it is damaged"), std::string::npos) << change;
    }
}

TEST_F(StoreCheckTest, IsOverBeforeAStoreIsServedWhoseMachineWentDown)
{
    MakeStore();
    Damage();
    const struct
    {
        const char *what;
        const char *note; // Null for none; the kernel's own name of this run of the machine for "".
        bool isServed;
    } cases[] = {
        {"it was closed", nullptr, true},
        {"the Master was killed", "", true},
        {"the machine went down", "another run of the machine\n", false},
        {"damage was found", "damaged\n", false},
    };
    for (const auto &[what, note, isServed] : cases)
    {
        ::unlink(m_note.Text().c_str());
        if (note && *note)
            m_folder.MakeFile("data/jobs.db.open", note);
        else if (note)
            OpenNote(m_store).WriteOpen();
        EXPECT_EQ(ReasonNotToOpen(0ms) == "(nothing thrown)", isServed) << what;
        EXPECT_EQ(HasNote(), !isServed) << what;
    }
}

TEST_F(StoreCheckTest, LeavesANoteAsLongAsTheStoreIsOpen)
{
    MakeStore();
    {
        JobStore store(m_store, 0ms);
        EXPECT_TRUE(HasNote());
        EXPECT_FALSE(OpenNote(m_store).IsCheckDue()) << "it may be killed now";
    }
    EXPECT_FALSE(HasNote());
    m_folder.MakeFile("data/jobs.db.open", "");
    EXPECT_TRUE(OpenNote(m_store).IsCheckDue()) << "a power cut may leave an empty file";
}

TEST_F(StoreCheckTest, EndsAMasterWhoseStoreIsDamagedAndTheNextServesNothing)
{
    MakeStore();
    Damage();
    MasterSettings settings = SettingsIn(m_folder.Folder());
    settings.checkPatience = 0ms;
    {
        RunningMaster running(settings);
        ASSERT_EQ(running.Error(), "");
        EXPECT_TRUE(running.WaitForEnd());
        const String &damage = running.Damage();
        EXPECT_TRUE(damage.starts_with("job store " + m_store.Text() + ": it is damaged"))
            << damage;
        EXPECT_NE(damage.find("corvan-master store restore BACKUP"), String::npos) << damage;
    }
    RunningMaster next(settings);
    EXPECT_NE(next.Error().find("it is damaged"), std::string::npos) << next.Error();
}

TEST_F(StoreCheckTest, BesideAMasterSaysWhenItIsThrough)
{
    MakeStore();
    MasterSettings settings = SettingsIn(m_folder.Folder());
    settings.checkPatience = 0ms;
    std::promise<void> isTold;
    ostrel::LogListen(ostrel::k_LogStatus,
                      [&](ostrel::LogLevel, std::string_view text)
                      {
                          if (text == "the job store is whole")
                              isTold.set_value();
                      });
    {
        RunningMaster running(settings);
        ASSERT_EQ(running.Error(), "");
        EXPECT_EQ(isTold.get_future().wait_for(k_long), std::future_status::ready);
    }
    ostrel::LogListen(ostrel::k_LogNone, {});
}

} // namespace
} // namespace master
