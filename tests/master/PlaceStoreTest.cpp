#include "master/store/PlaceStore.h"

#include "tests/master/StoreFixture.h"

using corvan::JobStatus;
using master::JobState;
using master::JobStore;
using master::Outbox;
using master::PlaceStore;
using master::TaskPlace;
using master::TaskStore;
using ostrel::UID;

namespace
{

class PlaceStoreTest : public StoreFixture
{
protected:
    PlaceStoreTest() : m_job(Add(*MakeTestJob({{"Range", "1-5"}}), 70)) {}

    void SaveTask(const JobState &job, unsigned index, JobStatus status, std::int64_t log = -1)
    {
        InTurn(
            [&](Outbox &) {
                m_store.Tasks().Save(job,
                                     {.index = index, .status = status, .tries = 1, .log = log});
            });
    }

    void SavePlace(const JobState &job, std::int64_t log, const TaskPlace &place)
    {
        InTurn([&](Outbox &) { m_store.Places().Save(job, log, place); });
    }

    const JobState m_job;
    const TaskPlace m_place{.batch = UID(true), .element = 7};
};

} // namespace

TEST_F(PlaceStoreTest, KeepsThePlaceOfTheLastTryOfEachTask)
{
    const TaskPlace later{.batch = UID(true), .element = 8};
    SavePlace(m_job, 0, m_place);
    SavePlace(m_job, 1, m_place);
    SavePlace(m_job, 1, later);
    const std::map<std::int64_t, TaskPlace> expected = {{0, m_place}, {1, later}};
    EXPECT_EQ(m_store.Places().List(m_job), expected);

    InTurn(
        [&](Outbox &) {
            m_store.Places().SaveEnd(m_job, 1, {UID(), 0, "n1", "12_8", "FAILED"});
        });
    const TaskPlace over{later.batch, later.element, "n1", "12_8", "FAILED"};
    EXPECT_EQ(m_store.Places().List(m_job).at(1), over);
    JobStore reopened(m_folder / "jobs.db");
    EXPECT_EQ(reopened.Places().List(m_job).at(1), over);
}

TEST_F(PlaceStoreTest, ListsWhatRunsSomewhereWithItsJob)
{
    const JobState other = Add(*MakeTestJob({{"Range", "1-5"}}), 20);
    // The task has another number than its log where its job was cut anew.
    SaveTask(m_job, 3, JobStatus::Running, 9);
    SavePlace(m_job, 9, m_place);
    SaveTask(m_job, 1, JobStatus::Running);
    SaveTask(m_job, 2, JobStatus::Done);
    SavePlace(m_job, 2, m_place);
    SaveTask(other, 0, JobStatus::Running);
    SavePlace(other, 0, m_place);
    InTurn(
        [&](Outbox &)
        {
            JobState paused = other;
            paused.status = JobStatus::Paused;
            m_store.SaveState(paused);
        });

    const std::vector<PlaceStore::Running> running = m_store.Places().ListRunning();
    ASSERT_EQ(running.size(), 2u);
    EXPECT_EQ(running[0].job, m_job.id);
    EXPECT_EQ(running[0].task, 3u);
    EXPECT_EQ(running[0].status, JobStatus::Queued);
    EXPECT_EQ(running[0].priority, 70);
    EXPECT_EQ(running[0].place, m_place);
    EXPECT_EQ(running[1].job, other.id);
    EXPECT_EQ(running[1].status, JobStatus::Paused);
    EXPECT_EQ(running[1].priority, 20);
}

TEST_F(PlaceStoreTest, WhatRunsSomewhereIsNotQueuedAgain)
{
    SaveTask(m_job, 0, JobStatus::Running);
    SaveTask(m_job, 1, JobStatus::Running);
    SavePlace(m_job, 1, m_place);
    InTurn([&](Outbox &)
           { EXPECT_EQ(m_store.Tasks().RequeueRunning(TaskStore::Requeue::WithoutPlace), 1); });
    EXPECT_EQ(m_store.Tasks().Find(m_job, 0)->status, JobStatus::Queued);
    EXPECT_EQ(m_store.Tasks().Find(m_job, 1)->status, JobStatus::Running);
}

TEST_F(PlaceStoreTest, ForgetsThePlacesOfAJobWithTheJob)
{
    const JobState other = Add(*MakeTestJob({{"Range", "1-5"}}));
    SavePlace(m_job, 0, m_place);
    SavePlace(other, 0, m_place);
    InTurn([&](Outbox &) { m_store.Remove(m_job); });
    EXPECT_EQ(m_store.Places().List(m_job).size(), 0u);
    EXPECT_EQ(m_store.Places().List(other).size(), 1u);
    EXPECT_TRUE(m_store.Places().HasAny());
    InTurn([&](Outbox &) { m_store.Places().Forget(other); });
    EXPECT_FALSE(m_store.Places().HasAny());
}

TEST_F(PlaceStoreTest, KeepsNothingOfATurnThatWasNotCommitted)
{
    {
        JobStore::Turn turn(m_store);
        m_store.Places().Save(m_job, 0, m_place);
    }
    EXPECT_FALSE(m_store.Places().HasAny());
}
