// The scheduler with a runner that hands commands over to somebody else.
#include "master/schedule/Scheduler.h"
#include "tests/master/StoreFixture.h"
#include "tests/support/FakeBatchRunner.h"
#include "tests/support/FakeClock.h"

using corvan::JobStatus;
using master::BatchPlace;
using master::EarlierRun;
using master::JobState;
using master::Outbox;
using master::RunEnd;
using master::RunResult;
using master::Scheduler;
using master::TaskPlace;
using ostrel::UID;

namespace
{

class HandedOverTest : public StoreFixture, private master::RunListener
{
protected:
    HandedOverTest() : m_job(Add(*MakeTestJob({{"Range", "1-5"}}), 70))
    {
        m_runner.slots = 5;
    }

    std::vector<Scheduler::Planned> FillSlots()
    {
        std::vector<Scheduler::Planned> planned;
        InTurn([&](Outbox &news) { planned = m_scheduler.Plan(news); });
        std::vector<RunResult> failed;
        m_scheduler.Start(planned, *this, failed);
        EXPECT_EQ(failed.size(), 0u);
        return planned;
    }

    // As an earlier Master has left it.
    void LeaveRunning(unsigned task, const BatchPlace &place)
    {
        InTurn(
            [&](Outbox &)
            {
                m_store.Tasks().Save(m_job,
                                     {.index = task, .status = JobStatus::Running, .tries = 1});
                m_store.Places().Save(m_job, task,
                                      {.batch = place.batch, .element = place.element});
                JobState state = m_job;
                state.nextTask = std::max(state.nextTask, task + 1);
                m_store.SaveState(state);
            });
    }

    void AdoptRuns()
    {
        InTurn([&](Outbox &) { m_scheduler.AdoptRuns(*this); });
    }

    Outbox Record(int run, const RunEnd &end)
    {
        Outbox outbox = InTurn([&](Outbox &news) { m_scheduler.Record({run, end}, news); });
        m_scheduler.Forget(run);
        return outbox;
    }

    JobState m_job;
    FakeBatchRunner m_runner;
    FakeClock m_clock;
    Scheduler m_scheduler{m_store, m_cache, m_logs, m_runner, m_clock};

private:
    void OnStarted(int) override {}
    void OnEnded(int, const RunEnd &) override {}
};

} // namespace

TEST_F(HandedOverTest, APacketIsAnElementOfABatchAndOnDiskBeforeItIsHandedOver)
{
    const std::vector<Scheduler::Planned> planned = FillSlots();
    ASSERT_EQ(planned.size(), 5u);
    std::set<UID> batches;
    for (unsigned task = 0; task < 5; ++task)
    {
        const BatchPlace place = planned[task].command.batch.value();
        EXPECT_EQ(place.element, task % 2) << task;
        EXPECT_EQ(place.offset, task - task % 2) << task;
        EXPECT_EQ(m_store.Places().List(m_job).at(task),
                  (TaskPlace{.batch = place.batch, .element = place.element}))
            << task;
        batches.insert(place.batch);
    }
    EXPECT_EQ(batches.size(), 3u);
    EXPECT_EQ(planned[2].command.batch->batch, planned[3].command.batch->batch);
}

TEST_F(HandedOverTest, AJobOfWhichNoMoreIsTakenLeavesTheSlotsToOthers)
{
    const JobState other = Add(*MakeTestJob({{"Range", "1-5"}}), 10);
    m_runner.room[m_job.id] = 2;
    std::map<UID, int> planned;
    for (const Scheduler::Planned &one : FillSlots())
        ++planned[one.job];
    EXPECT_EQ(planned, (std::map<UID, int>{{m_job.id, 2}, {other.id, 3}}));
}

TEST_F(HandedOverTest, RunsOfAnEarlierMasterGoOnAndTheirEndsCount)
{
    const BatchPlace places[] = {{UID(true), 0, 0}, {UID(true), 1, 0}};
    LeaveRunning(0, places[0]);
    LeaveRunning(1, places[1]);
    AdoptRuns();
    ASSERT_EQ(m_runner.adopted.size(), 2u);
    for (const unsigned task : {0u, 1u})
    {
        EXPECT_EQ(m_runner.adopted[task].job, m_job.id);
        EXPECT_EQ(m_runner.adopted[task].place.batch, places[task].batch);
        EXPECT_EQ(m_runner.adopted[task].place.element, places[task].element);
        EXPECT_FALSE(m_runner.adopted[task].isHeld);
        EXPECT_EQ(m_runner.adopted[task].priority, 70);
    }

    std::vector<unsigned> tasks;
    for (const Scheduler::Planned &one : FillSlots())
        tasks.push_back(one.task);
    EXPECT_EQ(tasks, (std::vector<unsigned>{2, 3, 4})) << "what runs is not begun again";

    const int run = m_runner.adopted[1].run;
    Record(run, {.place = {.node = "n1", .number = "12_1", .state = "COMPLETED"}});
    EXPECT_EQ(m_store.Tasks().Find(m_job, 1)->status, JobStatus::Done);
    EXPECT_EQ(State(m_job.id).tasksDone, 1u);
    EXPECT_EQ(m_store.Places().List(m_job).at(1).number, "12_1");
    EXPECT_EQ(m_runner.recorded, std::set<int>{run});
}

TEST_F(HandedOverTest, TheNextMasterLooksForTheFilesOfAJobOfWhichNoneWasSeen)
{
    const JobState job = Add(*MakeTestJob({{"Range", "1-3"}, {"ImageFormat", "/r/f.%d"}}), 60);
    m_job = job;
    LeaveRunning(1, {UID(true), 1, 0});
    AdoptRuns();
    ASSERT_EQ(m_runner.adopted.size(), 1u);
    EXPECT_EQ(m_runner.adopted[0].output.Text(), "/r/f.2");

    InTurn(
        [&](Outbox &)
        {
            JobState state = State(job.id);
            state.tasksDone = 1;
            m_store.SaveState(state);
        });
    AdoptRuns();
    EXPECT_EQ(m_runner.adopted.at(1).output.Text(), "");
}

TEST_F(HandedOverTest, RunsOfAPausedJobAreHeldAlsoByTheNextMaster)
{
    LeaveRunning(0, {UID(true), 0, 0});
    InTurn(
        [&](Outbox &)
        {
            JobState state = State(m_job.id);
            state.status = JobStatus::Paused;
            m_store.SaveState(state);
        });
    AdoptRuns();
    ASSERT_EQ(m_runner.adopted.size(), 1u);
    EXPECT_TRUE(m_runner.adopted[0].isHeld);

    m_scheduler.TellRunner(m_job.id);
    EXPECT_EQ(m_runner.jobs.back(), (std::tuple{m_job.id, true, 70}));
}

TEST_F(HandedOverTest, WhatHasNotBegunIsWithdrawnToBeMadeAnew)
{
    const std::vector<Scheduler::Planned> planned = FillSlots();
    m_runner.TellStarts();
    m_scheduler.NoteStart(planned[0].command.run);
    m_scheduler.RenewRuns(m_job.id);
    std::set<int> expected;
    for (std::size_t i = 1; i < planned.size(); ++i)
        expected.insert(planned[i].command.run);
    EXPECT_EQ(m_runner.withdrawn, expected);
}

TEST_F(HandedOverTest, WhatIsLostBeforeItBeganIsNoTry)
{
    const std::vector<Scheduler::Planned> planned = FillSlots();
    Record(planned[0].command.run, {.isStarted = false, .isLost = true});
    EXPECT_EQ(m_store.Tasks().Find(m_job, 0)->status, JobStatus::Queued);
    EXPECT_EQ(m_store.Tasks().Find(m_job, 0)->tries, 0u);
    Record(planned[1].command.run, {.isLost = true});
    EXPECT_EQ(m_store.Tasks().Find(m_job, 1)->tries, 1u);
}
