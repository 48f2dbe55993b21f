#include "master/store/StoreCounts.h"

#include <gtest/gtest.h>

#include "tests/master/StoreFixture.h"
#include "tests/support/Thrown.h"

using corvan::JobStatus;
using master::JobState;
using master::StoreCounts;

namespace
{

class StoreCountsTest : public StoreFixture
{
protected:
    // A job of ten tasks of which so many have been done, have failed, and run.
    JobState AddJob(JobStatus status, unsigned done, unsigned failed, unsigned running,
                    std::int64_t created = 1)
    {
        const auto job = MakeTestJob({{"Range", "1-10"}});
        ostrel::String reason;
        JobState state;
        state.id = job->ID();
        state.status = status;
        state.created = ostrel::Time(created);
        state.tasksTotal = 10;
        state.tasksDone = done;
        state.tasksFailed = failed;
        state.nextTask = done + failed + running;
        InTurn(
            [&](master::Outbox &)
            {
                m_store.Add(*job, state);
                for (unsigned task = 0; task < running; ++task)
                    m_store.Tasks().Save(state, {.index = task, .status = JobStatus::Running});
                m_store.SaveState(state);
            });
        return state;
    }

    StoreCounts Count()
    {
        return master::CountStore(m_folder / "jobs.db");
    }
};

TEST_F(StoreCountsTest, AreThoseOfTheTasksByTheirOwnStatusAndElseByTheirJobs)
{
    AddJob(JobStatus::Queued, 0, 0, 0);
    AddJob(JobStatus::Running, 3, 1, 2);
    AddJob(JobStatus::Paused, 1, 0, 1);
    AddJob(JobStatus::Cancelled, 4, 0, 0);
    AddJob(JobStatus::Done, 10, 0, 0);
    AddJob(JobStatus::Done, 10, 0, 0);

    const StoreCounts counts = Count();
    EXPECT_EQ(counts.jobs, (StoreCounts::Counts{{JobStatus::Queued, 1},
                                                {JobStatus::Running, 1},
                                                {JobStatus::Paused, 1},
                                                {JobStatus::Cancelled, 1},
                                                {JobStatus::Done, 2}}));
    EXPECT_EQ(counts.tasks, (StoreCounts::Counts{{JobStatus::Queued, 10 + 4},
                                                 {JobStatus::Running, 3},
                                                 {JobStatus::Done, 3 + 1 + 4 + 20},
                                                 {JobStatus::Failed, 1},
                                                 {JobStatus::Paused, 8},
                                                 {JobStatus::Cancelled, 6}}));
}

TEST_F(StoreCountsTest, KnowTheOldestJobThatHasATaskToStart)
{
    EXPECT_EQ(Count().oldestQueued, std::nullopt);
    AddJob(JobStatus::Running, 0, 0, 10, 100);
    AddJob(JobStatus::Paused, 0, 0, 0, 200);
    AddJob(JobStatus::Done, 10, 0, 0, 300);
    EXPECT_EQ(Count().oldestQueued, std::nullopt) << "no task waits";
    AddJob(JobStatus::Queued, 0, 0, 0, 500);
    AddJob(JobStatus::Running, 1, 0, 1, 400);
    EXPECT_EQ(Count().oldestQueued, ostrel::Time(400));
    const JobState waiting = AddJob(JobStatus::Queued, 0, 0, 0, 50);
    InTurn([&](master::Outbox &)
           { m_store.Waits().Replace(waiting, std::vector<master::WaitedFor>{{UID(true)}}); });
    EXPECT_EQ(Count().oldestQueued, ostrel::Time(400)) << "it waits for another job";
    const JobState tried = AddJob(JobStatus::Running, 0, 0, 10, 350);
    InTurn([&](master::Outbox &) { m_store.Tasks().Save(tried, {.index = 3}); });
    EXPECT_EQ(Count().oldestQueued, ostrel::Time(350)) << "a task is queued again";
}

TEST_F(StoreCountsTest, AreTakenWhileTheMasterWrites)
{
    AddJob(JobStatus::Queued, 0, 0, 0);
    const JobState job = AddJob(JobStatus::Queued, 0, 0, 0);
    const master::JobStore::Turn turn(m_store);
    m_store.Remove(job);
    EXPECT_EQ(Count().jobs, (StoreCounts::Counts{{JobStatus::Queued, 2}})) << "not committed yet";
}

TEST_F(StoreCountsTest, OfNoStoreAreRefused)
{
    const std::string reason = Thrown([&] { master::CountStore(m_folder / "none.db"); });
    EXPECT_TRUE(reason.starts_with("cannot count in job store " + (m_folder / "none.db").Text()))
        << reason;
}

} // namespace
