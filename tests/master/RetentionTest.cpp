#include "master/Retention.h"

#include <boost/asio/io_context.hpp>
#include <filesystem>

#include "master/loop/LoopClock.h"
#include "tests/master/StoreFixture.h"
#include "tests/support/FakeClock.h"
#include "tests/support/FakeRunner.h"
#include "tests/support/HeldWork.h"
#include "tests/support/LogCapture.h"

namespace master
{
namespace
{

constexpr std::int64_t k_day = 24LL * 60 * 60 * 1'000'000'000;

class RetentionTest : public StoreFixture, protected RunListener
{
protected:
    // A job that got over so many days ago, with a log.
    UID AddOver(double daysAgo, JobStatus status = JobStatus::Done)
    {
        JobState state = Add(*MakeTestJob({{"Range", "1-3"}}));
        state.status = status;
        InTurn(
            [&](Outbox &)
            {
                m_store.Tasks().Save(state, {.index = 0, .status = JobStatus::Done, .tries = 1});
                m_store.SaveState(state, ostrel::Time(ostrel::Time::Now().First() -
                                                      std::int64_t(daysAgo * double(k_day))));
            });
        m_folder.MakeFile("tasks/" + state.id.ToString() + "/0.log", "printed");
        return state.id;
    }

    void Begin(unsigned keepDays, SlowWork &work)
    {
        m_retention.emplace(
            m_loopClock, Retention::Farm{m_store, m_cache, m_dispatcher, m_scheduler, m_logs, work},
            keepDays,
            [this](const Outbox &outbox)
            {
                for (const Outgoing &message : outbox.Messages())
                    m_told.push_back(message.followersOf);
            });
    }

    void Begin(unsigned keepDays)
    {
        Begin(keepDays, m_work);
    }

    // Until nothing is left to be removed; false when that does not come.
    bool RunUntilTidy()
    {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (std::chrono::steady_clock::now() < end)
        {
            m_loop.run_one_for(std::chrono::seconds(1));
            if (!m_store.FindRemoved(UID()))
                return true;
        }
        return false;
    }

    bool HasFolder(const UID &job) const
    {
        return std::filesystem::exists((m_folder / "tasks" / job.ToString()).Text().c_str());
    }

    void OnStarted(int /*run*/) override {}
    void OnEnded(int /*run*/, const RunEnd & /*end*/) override {}

    Followers m_followers;
    Dispatcher m_dispatcher{m_store, m_cache, m_followers};
    FakeRunner m_runner;
    FakeClock m_clock;
    Scheduler m_scheduler{m_store, m_cache, m_logs, m_runner, m_clock};
    WorkInPlace m_work;
    boost::asio::io_context m_loop;
    LoopClock m_loopClock{m_loop};
    std::vector<UID> m_told;
    std::optional<Retention> m_retention;
};

TEST_F(RetentionTest, RemovesJobsThatWereOverLongEnoughWithAllTheyHave)
{
    const UID old = AddOver(3.5), oldFailure = AddOver(9, JobStatus::Failed);
    const UID young = AddOver(2.5), cancelled = AddOver(3.1, JobStatus::Cancelled);
    const UID open = AddOver(50, JobStatus::Running), paused = AddOver(50, JobStatus::Paused);
    Begin(3);
    ASSERT_TRUE(RunUntilTidy());
    for (const UID &gone : {old, oldFailure, cancelled})
    {
        EXPECT_FALSE(m_store.FindState(gone));
        EXPECT_FALSE(HasFolder(gone));
    }
    for (const UID &kept : {young, open, paused})
    {
        EXPECT_TRUE(m_store.FindState(kept));
        EXPECT_TRUE(HasFolder(kept));
    }
    EXPECT_EQ(m_told, (std::vector<UID>{oldFailure, old, cancelled})) << "the oldest first";
}

TEST_F(RetentionTest, KeepsAllWhereItIsNotToldHowLong)
{
    const UID old = AddOver(5000);
    Begin(0);
    m_loop.run_one_for(std::chrono::seconds(1));
    EXPECT_TRUE(m_store.FindState(old));
    EXPECT_TRUE(HasFolder(old));
}

TEST_F(RetentionTest, FinishesWhatACrashLeftOfARemovedJob)
{
    const UID job = AddOver(0);
    InTurn([&](Outbox &) { m_store.Remove(State(job)); });
    for (int file = 0; file < 500; ++file)
        m_folder.MakeFile("tasks/" + job.ToString() + "/deep/er/" + std::to_string(file));
    Begin(0);
    ASSERT_TRUE(RunUntilTidy());
    EXPECT_FALSE(HasFolder(job));
}

TEST_F(RetentionTest, AShareThatHangsKeepsFoldersAndNoJobs)
{
    std::vector<UID> old;
    for (int i = 0; i < 3; ++i)
        old.push_back(AddOver(3.5));
    HeldWork work;
    Begin(3, work);
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (m_told.size() < old.size() && std::chrono::steady_clock::now() < limit)
        m_loop.run_one_for(std::chrono::seconds(1));
    EXPECT_EQ(m_told.size(), old.size());
    m_retention->Wake();
    m_loop.run_one_for(std::chrono::milliseconds(50));
    EXPECT_EQ(work.Count(), 1u);
    for (const UID &job : old)
        EXPECT_TRUE(HasFolder(job));

    // It is back.
    while (m_store.FindRemoved(UID()) && std::chrono::steady_clock::now() < limit)
        if (work.Count() > 0)
            work.DoNext();
        else
            m_loop.run_one_for(std::chrono::seconds(1));
    for (const UID &job : old)
        EXPECT_FALSE(HasFolder(job));
}

TEST_F(RetentionTest, LeavesTheFolderOfACommandThatStillRuns)
{
    const JobState job = Add(*MakeTestJob({{"Range", "1"}}));
    std::vector<Scheduler::Planned> planned;
    InTurn([&](Outbox &news) { planned = m_scheduler.Plan(news); });
    std::vector<RunResult> failed;
    m_scheduler.Start(planned, *this, failed);
    ASSERT_TRUE(HasFolder(job.id));
    const Outbox outbox = InTurn([&](Outbox &news) { m_dispatcher.TakeAway(State(job.id), news); });
    m_scheduler.EndRuns(outbox.EndedRuns().front());

    Begin(0);
    m_loop.run_one_for(std::chrono::seconds(1));
    EXPECT_TRUE(HasFolder(job.id));
    EXPECT_TRUE(m_store.FindRemoved(UID()));

    m_scheduler.Forget(m_runner.started.front().run);
    m_retention->Wake();
    ASSERT_TRUE(RunUntilTidy());
    EXPECT_FALSE(HasFolder(job.id));
}

} // namespace
} // namespace master
