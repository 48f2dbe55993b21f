#include "master/Scheduler.h"

#include "tests/master/StoreFixture.h"
#include "tests/support/FakeRunner.h"

using corvan::JobStatus;
using master::JobState;
using master::Outbox;
using master::RunResult;
using master::Scheduler;
using ostrel::String;
using ostrel::UID;

using Texts = std::vector<std::string>;

namespace
{

class SchedulerTest : public StoreFixture
{
protected:
    // What the Master does after each turn; gives what was sent meanwhile.
    Outbox FillSlots()
    {
        std::vector<Scheduler::Planned> planned;
        Outbox outbox = InTurn([&](Outbox &news) { planned = m_scheduler.Plan(news); });
        std::vector<RunResult> failed;
        m_scheduler.Start(
            planned,
            [this](int run, int exitCode) {
                m_ended.push_back({run, exitCode});
            },
            failed);
        m_ended.insert(m_ended.end(), failed.begin(), failed.end());
        return outbox;
    }

    Outbox RecordEnded()
    {
        Outbox outbox = InTurn(
            [&](Outbox &news)
            {
                for (const RunResult &result : m_ended)
                    m_scheduler.Record(result, news);
            });
        for (const RunResult &result : m_ended)
            m_scheduler.Forget(result.run);
        m_ended.clear();
        return outbox;
    }

    Outbox Finish(int run, int exitCode)
    {
        m_runner.Finish(run, exitCode);
        return RecordEnded();
    }

    // The frames that were started, in order, by the third and fourth argument after the script.
    Texts StartedFrames() const
    {
        Texts frames;
        for (const master::Command &command : m_runner.started)
            frames.push_back(command.arguments.at(4) + "-" + command.arguments.at(5));
        return frames;
    }

    FakeRunner m_runner;
    Scheduler m_scheduler{m_store, m_cache, m_logs, m_runner};
    std::vector<RunResult> m_ended;
};

TEST_F(SchedulerTest, StartsAsManyTasksAsThereAreSlotsInOrder)
{
    m_runner.slots = 2;
    const JobState job = Add(*MakeTestJob({{"Range", "1-9"}, {"PacketSize", "3"}}));
    const Outbox outbox = FillSlots();

    EXPECT_EQ(StartedFrames(), (Texts{"1-3", "4-6"}));
    EXPECT_EQ(News(outbox), Texts{"Status=1"});
    EXPECT_EQ(State(job.id).status, JobStatus::Running);
    EXPECT_EQ(m_store.Tasks().Find(job, 1)->status, JobStatus::Running);
    EXPECT_EQ(m_store.Tasks().Find(job, 1)->tries, 1u);
    EXPECT_TRUE(m_scheduler.HasRuns());

    FillSlots();
    EXPECT_EQ(m_runner.started.size(), 2u);
}

TEST_F(SchedulerTest, GoesByPriorityAndThenByAge)
{
    m_runner.slots = 6;
    Add(*MakeTestJob({{"Range", "1-2"}}), 50);
    Add(*MakeTestJob({{"Range", "11-12"}}), 50);
    Add(*MakeTestJob({{"Range", "21-22"}}), 80);
    FillSlots();
    EXPECT_EQ(StartedFrames(), (Texts{"21-21", "22-22", "1-1", "2-2", "11-11", "12-12"}));
}

TEST_F(SchedulerTest, CompletesAJobWithItsLastTask)
{
    const JobState job = Add(*MakeTestJob({{"Range", "1-2"}}));
    FillSlots();
    const Outbox first = Finish(1, 0);
    EXPECT_EQ(News(first), Texts{});
    EXPECT_EQ(first.Progress(), std::vector{job.id});
    EXPECT_EQ(State(job.id).tasksDone, 1u);

    FillSlots();
    EXPECT_EQ(News(Finish(2, 0)), (Texts{"TasksDone=2", "TasksFailed=0", "Status=2"}));
    EXPECT_EQ(State(job.id).status, JobStatus::Done);
    EXPECT_FALSE(m_scheduler.HasRuns());
}

TEST_F(SchedulerTest, TriesATaskThreeTimes)
{
    const JobState job = Add(*MakeTestJob({{"Range", "1"}}));
    for (const int run : {1, 2})
    {
        FillSlots();
        EXPECT_EQ(News(Finish(run, 7)), Texts{}) << run;
        EXPECT_EQ(m_store.Tasks().Find(job, 0)->status, JobStatus::Queued) << run;
    }
    FillSlots();
    EXPECT_EQ(News(Finish(3, -1)), (Texts{"TasksDone=0", "TasksFailed=1", "Status=3"}));

    const auto task = m_store.Tasks().Find(job, 0);
    EXPECT_EQ(task->status, JobStatus::Failed);
    EXPECT_EQ(task->tries, 3u);
    EXPECT_EQ(task->exitCode, -1);
    FillSlots();
    EXPECT_EQ(m_runner.started.size(), 3u);
}

TEST_F(SchedulerTest, TriesAFailedTaskBeforeTheLaterOnes)
{
    Add(*MakeTestJob({{"Range", "1-3"}}));
    FillSlots();
    Finish(1, 1);
    FillSlots();
    EXPECT_EQ(StartedFrames(), (Texts{"1-1", "1-1"}));
}

TEST_F(SchedulerTest, RendersTheRestOfAJobThatHasAFailedTask)
{
    const JobState job = Add(*MakeTestJob({{"Range", "1-2"}}));
    for (const int run : {1, 2, 3})
    {
        FillSlots();
        Finish(run, 1);
    }
    FillSlots();
    Finish(4, 0);
    EXPECT_EQ(State(job.id).status, JobStatus::Failed);
    EXPECT_EQ(State(job.id).tasksDone, 1u);
    EXPECT_EQ(State(job.id).tasksFailed, 1u);
}

TEST_F(SchedulerTest, StartsEachTaskOnceWhereLaterOnesHaveBegunAlready)
{
    m_runner.slots = 9;
    const JobState job = Add(*MakeTestJob({{"Range", "1-6"}}));
    InTurn(
        [&](Outbox &)
        {
            for (const unsigned done : {1u, 2u, 4u})
                m_store.Tasks().Save(
                    job, {.index = done, .status = JobStatus::Done, .tries = 1, .log = 40 + done});
        });
    FillSlots();
    EXPECT_EQ(StartedFrames(), (Texts{"1-1", "4-4", "6-6"}));
    EXPECT_EQ(State(job.id).nextTask, 6u);
}

TEST_F(SchedulerTest, CommandsThatGoOnAreNotedUnderTheirNewNumbers)
{
    m_runner.slots = 3;
    const JobState job = Add(*MakeTestJob({{"Range", "1-3"}}));
    FillSlots();
    m_scheduler.EndRuns({job.id, {{0, 2}, {2, 0}}});
    EXPECT_EQ(m_runner.ended, std::vector{2});
    Finish(1, 0);
    EXPECT_EQ(m_store.Tasks().Find(job, 2)->status, JobStatus::Done);
    EXPECT_EQ(m_store.Tasks().Find(job, 0)->status, JobStatus::Running);
}

TEST_F(SchedulerTest, StartsNothingOfAJobWhoseCommandsAreStillEnding)
{
    m_runner.slots = 2;
    const JobState job = Add(*MakeTestJob({{"Range", "1"}}));
    FillSlots();
    m_scheduler.EndRuns({job.id, {}});
    m_scheduler.EndRuns({job.id, {}});
    EXPECT_EQ(m_runner.ended, std::vector{1});
    // Run again while the old command is still there.
    InTurn(
        [&](Outbox &)
        {
            m_store.Tasks().Forget(job);
            m_store.SaveState(job);
        });
    FillSlots();
    EXPECT_EQ(m_runner.started.size(), 1u);

    Finish(1, 0);
    EXPECT_EQ(State(job.id).tasksDone, 0u);
    FillSlots();
    EXPECT_EQ(m_runner.started.size(), 2u);
}

TEST_F(SchedulerTest, DoesNotCountWhatEndedInTheTurnThatCancelledIt)
{
    JobState job = Add(*MakeTestJob({{"Range", "1"}}));
    FillSlots();
    job = State(job.id);
    job.status = JobStatus::Cancelled;
    InTurn(
        [&](Outbox &)
        {
            m_store.Tasks().SetRunning(job, JobStatus::Cancelled);
            m_store.SaveState(job);
        });
    Finish(1, 0);
    EXPECT_EQ(State(job.id).status, JobStatus::Cancelled);
    EXPECT_EQ(m_store.Tasks().Find(job, 0)->status, JobStatus::Cancelled);
}

TEST_F(SchedulerTest, CompletesAJobThatWasPausedDuringItsLastTask)
{
    JobState job = Add(*MakeTestJob({{"Range", "1"}}));
    FillSlots();
    job = State(job.id);
    job.status = JobStatus::Paused;
    InTurn([&](Outbox &) { m_store.SaveState(job); });
    Finish(1, 0);
    EXPECT_EQ(State(job.id).status, JobStatus::Done);
}

TEST_F(SchedulerTest, FailsTheOneTaskWhoseStartThrows)
{
    m_runner.slots = 2;
    m_runner.throws = "no descriptors left";
    const JobState job = Add(*MakeTestJob({{"Range", "1-2"}}));
    FillSlots();
    EXPECT_EQ(m_runner.started.size(), 1u); // The other one.
    EXPECT_EQ(m_ended.size(), 1u);
    EXPECT_EQ(m_logs.ReadTail(job.id, 0), "corvan-master: cannot start: no descriptors left\n");
    RecordEnded();
    EXPECT_EQ(m_store.Tasks().Find(job, 0)->status, JobStatus::Queued);
}

TEST_F(SchedulerTest, FailsATaskThatCannotBeStartedAndSaysWhyInItsLog)
{
    const struct
    {
        TestParameters parameters;
        const char *refuses;
        const char *log;
    } cases[] = {
        {{}, "no such program", "corvan-master: cannot start: no such program\n"},
        {{{"ImageFormat", "/out.png"}}, "", "corvan-master: cannot start: image format"},
        {{{"ImageFormat", "/dev/null/x.%d.png"}},
         "",
         "corvan-master: cannot start: cannot make folder /dev/null: "},
    };
    for (const auto &[parameters, refuses, log] : cases)
    {
        m_runner.refuses = refuses;
        TestParameters all = parameters;
        all.emplace_back("Range", "1");
        const JobState job = Add(*MakeTestJob(all));
        FillSlots();
        RecordEnded();
        EXPECT_EQ(m_store.Tasks().Find(job, 0)->exitCode, 127);
        EXPECT_TRUE(m_logs.ReadTail(job.id, 0).starts_with(log)) << m_logs.ReadTail(job.id, 0);
        FillSlots();
        RecordEnded();
        FillSlots();
        RecordEnded();
        EXPECT_EQ(State(job.id).status, JobStatus::Failed);
    }
}

TEST_F(SchedulerTest, RunsACommandInTheFolderOfItsJobWithALogOfItsOwn)
{
    const JobState job = Add(*MakeTestJob({{"Range", "1"}}));
    FillSlots();
    EXPECT_EQ(m_runner.started[0].folder, m_logs.FolderOf(job.id));
    EXPECT_EQ(m_runner.started[0].log, m_logs.FileOf(job.id, 0));
}

TEST_F(SchedulerTest, GetsThroughFiftyThousandScatteredFramesSwiftly)
{
    std::string range;
    for (int frame = 0; frame < 50'000; ++frame)
        range += std::to_string(frame * 3 + frame % 2) + ",";
    const JobState job = Add(*MakeTestJob({{"Range", String(range)}}));
    ASSERT_EQ(State(job.id).tasksTotal, 50'000u);

    const auto start = std::chrono::steady_clock::now();
    for (int run = 1; run <= 500; ++run)
    {
        FillSlots();
        Finish(run, 0);
    }
    // Parsing the range for each task would take minutes.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
    EXPECT_EQ(State(job.id).tasksDone, 500u);
}

} // namespace
