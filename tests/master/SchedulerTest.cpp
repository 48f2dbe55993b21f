#include "master/schedule/Scheduler.h"

#include "tests/master/StoreFixture.h"
#include "tests/support/FakeClock.h"
#include "tests/support/FakeRunner.h"

using corvan::JobStatus;
using master::JobState;
using master::Outbox;
using master::RunResult;
using master::Scheduler;
using ostrel::String;
using ostrel::UID;

using Texts = std::vector<std::string>;
using namespace std::chrono_literals;

namespace
{

class SchedulerTest : public StoreFixture, private master::RunListener
{
protected:
    // What the Master does after each turn; gives what was sent meanwhile.
    Outbox FillSlots()
    {
        std::vector<Scheduler::Planned> planned;
        Outbox outbox = InTurn([&](Outbox &news) { planned = m_scheduler.Plan(news); });
        std::vector<RunResult> failed;
        m_scheduler.Start(planned, *this, failed);
        m_ended.insert(m_ended.end(), failed.begin(), failed.end());
        return outbox;
    }

    // The same, and all that was asked for is started.
    Outbox FillSlotsAndStart()
    {
        Outbox outbox = FillSlots();
        m_runner.TellStarts();
        outbox.Append(RecordRuns());
        return outbox;
    }

    Outbox RecordRuns()
    {
        Outbox outbox = InTurn(
            [&](Outbox &news)
            {
                for (const int run : m_started)
                    m_scheduler.RecordStart(run, news);
                for (const RunResult &result : m_ended)
                    m_scheduler.Record(result, news);
            });
        for (const RunResult &result : m_ended)
            m_scheduler.Forget(result.run);
        m_started.clear();
        m_ended.clear();
        return outbox;
    }

    Outbox Finish(int run, int exitCode)
    {
        return Finish(run, {.exitCode = exitCode});
    }

    Outbox Finish(int run, const master::RunEnd &end)
    {
        m_runner.Finish(run, end);
        return RecordRuns();
    }

    // What each start comes to until something is to be waited for. Gives the news.
    Texts RunAll(const master::RunEnd &end)
    {
        Texts news;
        for (std::size_t started = m_runner.started.size();; started = m_runner.started.size())
        {
            AppendNews(FillSlots(), news);
            if (m_runner.started.size() == started)
                return news;
            for (; started < m_runner.started.size(); ++started)
                AppendNews(Finish(m_runner.started[started].run, end), news);
        }
    }

    static void AppendNews(const Outbox &outbox, Texts &news)
    {
        const Texts more = News(outbox);
        news.insert(news.end(), more.begin(), more.end());
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
    FakeClock m_clock;
    Scheduler m_scheduler{m_store, m_cache, m_logs, m_runner, m_clock};
    std::vector<int> m_started;
    std::vector<RunResult> m_ended;

private:
    void OnStarted(int run) override
    {
        if (m_scheduler.NoteStart(run))
            m_started.push_back(run);
    }

    void OnEnded(int run, const master::RunEnd &end) override
    {
        m_ended.push_back({run, end});
    }
};

TEST_F(SchedulerTest, StartsAsManyTasksAsThereAreSlotsInOrder)
{
    m_runner.slots = 2;
    const JobState job = Add(*MakeTestJob({{"Range", "1-9"}, {"PacketSize", "3"}}));
    const Outbox outbox = FillSlotsAndStart();

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
    FillSlotsAndStart();
    const Outbox first = Finish(1, 0);
    EXPECT_EQ(News(first), Texts{});
    EXPECT_EQ(first.Progress(), std::vector{job.id});
    EXPECT_EQ(State(job.id).tasksDone, 1u);

    FillSlots();
    EXPECT_EQ(News(Finish(2, 0)), (Texts{"TasksDone=2", "TasksFailed=0", "Status=2"}));
    EXPECT_EQ(State(job.id).status, JobStatus::Done);
    EXPECT_FALSE(m_scheduler.HasRuns());
}

TEST_F(SchedulerTest, TriesATaskThreeTimesWithPauses)
{
    const JobState job = Add(*MakeTestJob({{"Range", "1"}}));
    const std::pair<int, std::chrono::seconds> tries[] = {{1, 5s}, {2, 30s}};
    FillSlotsAndStart();
    for (const auto &[run, pause] : tries)
    {
        EXPECT_EQ(News(Finish(run, 7)), Texts{}) << run;
        EXPECT_EQ(m_store.Tasks().Find(job, 0)->status, JobStatus::Queued) << run;
        EXPECT_EQ(m_scheduler.NextPauseEnd(), m_clock.Now() + pause);
        m_clock.Pass(pause - 1ms);
        FillSlots();
        EXPECT_EQ(m_runner.started.size(), std::size_t(run)) << "before its pause is over";
        m_clock.Pass(1ms);
        FillSlots();
        EXPECT_EQ(m_runner.started.size(), std::size_t(run) + 1);
    }
    EXPECT_EQ(News(Finish(3, {.exitCode = -1, .reason = "it took too long"})),
              (Texts{"TasksDone=0", "TasksFailed=1", "Status=3"}));

    const auto task = m_store.Tasks().Find(job, 0);
    EXPECT_EQ(task->status, JobStatus::Failed);
    EXPECT_EQ(task->tries, 3u);
    EXPECT_EQ(task->exitCode, -1);
    EXPECT_EQ(task->reason, "it took too long");
    EXPECT_EQ(m_scheduler.NextPauseEnd(), std::nullopt);
    FillSlots();
    EXPECT_EQ(m_runner.started.size(), 3u);
}

TEST_F(SchedulerTest, ForgivesATaskTheFirstTwoMachinesInARowThatFailUnderIt)
{
    const JobState job = Add(*MakeTestJob({{"Range", "1"}}));
    const master::RunEnd lost = {
        .exitCode = -1, .reason = "its node failed", .isLost = true, .machineFailed = true};
    const unsigned failures[] = {0, 0, 1, 2, 3};
    int run = 0;
    for (const unsigned count : failures)
    {
        EXPECT_EQ(m_store.Tasks().Find(job, 0).value_or(master::TaskState()).status,
                  JobStatus::Queued);
        FillSlotsAndStart();
        Finish(++run, lost);
        EXPECT_EQ(m_store.Tasks().Find(job, 0)->failures, count) << run;
        m_clock.Pass(30s);
    }
    EXPECT_EQ(m_store.Tasks().Find(job, 0)->status, JobStatus::Failed);
    EXPECT_EQ(m_store.Tasks().Find(job, 0)->reason, "its node failed (5 times in a row)");
}

TEST_F(SchedulerTest, CountsTheMachinesThatFailUnderATaskAnewOnceItHasEndedByItself)
{
    const JobState job = Add(*MakeTestJob({{"Range", "1"}}));
    const master::RunEnd lost = {
        .exitCode = -1, .reason = "its node failed", .isLost = true, .machineFailed = true};
    const std::pair<master::RunEnd, unsigned> ends[] = {{lost, 0}, {lost, 0}, {{.exitCode = 7}, 1},
                                                        {lost, 1}, {lost, 1}, {lost, 2}};
    int run = 0;
    for (const auto &[end, count] : ends)
    {
        FillSlotsAndStart();
        Finish(++run, end);
        EXPECT_EQ(m_store.Tasks().Find(job, 0)->failures, count) << run;
        m_clock.Pass(30s);
    }
}

TEST_F(SchedulerTest, ATaskThatIsTakenAwayAgainAndAgainHasNotFailed)
{
    const JobState job = Add(*MakeTestJob({{"Range", "1"}}));
    for (int run = 1; run <= 8; ++run)
    {
        FillSlotsAndStart();
        Finish(run, {.exitCode = -1, .reason = "preempted", .isLost = true});
        EXPECT_EQ(m_store.Tasks().Find(job, 0)->failures, 0u) << run;
        m_clock.Pass(30s);
    }
}

TEST_F(SchedulerTest, KeepsALogOfEachTry)
{
    const JobState job = Add(*MakeTestJob({{"Range", "1"}}));
    for (const int run : {1, 2, 3})
    {
        FillSlots();
        Finish(run, 7);
        m_clock.Pass(1min);
        EXPECT_EQ(m_runner.started.back().log, m_logs.FileOf(job.id, 0, unsigned(run)));
    }
}

TEST_F(SchedulerTest, StartsLaterTasksWhileAFailedOnePausesAndThenThatOneFirst)
{
    Add(*MakeTestJob({{"Range", "1-4"}}));
    FillSlots();
    Finish(1, 1);
    FillSlots();
    m_clock.Pass(5s);
    Finish(2, 0);
    FillSlots();
    EXPECT_EQ(StartedFrames(), (Texts{"1-1", "2-2", "1-1"}));
}

TEST_F(SchedulerTest, RendersTheRestOfAJobThatHasAFailedTask)
{
    const JobState job = Add(*MakeTestJob({{"Range", "1-2"}}));
    FillSlots();
    Finish(1, 1);
    FillSlots();
    Finish(2, 0);
    for (const int run : {3, 4})
    {
        m_clock.Pass(30s);
        FillSlots();
        Finish(run, 1);
    }
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

TEST_F(SchedulerTest, ACommandThatCannotBeStartedFailsNoTask)
{
    const struct
    {
        const char *what;
        TestParameters parameters;
        const char *refuses;
        const char *throws;
        const char *reason;
    } cases[] = {
        {"program", {}, "no such program", "", "no such program"},
        {"descriptors", {}, "", "no descriptors left", "no descriptors left"},
        {"format", {{"ImageFormat", "/out.png"}}, "", "", "image format \"/out.png\": "},
    };
    for (const auto &[what, parameters, refuses, throws, reason] : cases)
    {
        m_runner.refuses = refuses;
        m_runner.throws = throws;
        TestParameters all = parameters;
        all.emplace_back("Range", "1");
        const JobState job = Add(*MakeTestJob(all));
        Texts news = News(FillSlots());
        AppendNews(RecordRuns(), news);
        ASSERT_EQ(news.size(), 1u) << what;
        EXPECT_TRUE(news[0].starts_with(std::string("Waiting=") + reason)) << news[0];

        EXPECT_EQ(State(job.id).status, JobStatus::Queued) << what;
        EXPECT_EQ(State(job.id).waiting, news[0].substr(8));
        const auto task = m_store.Tasks().Find(job, 0).value_or(master::TaskState{});
        EXPECT_EQ(task.status, JobStatus::Queued) << what;
        EXPECT_EQ(task.tries, 0u) << what;
        EXPECT_EQ(task.failures, 0u) << what;
        EXPECT_FALSE(m_scheduler.HasRuns());
    }
}

TEST_F(SchedulerTest, TriesAgainAfterPausesThatDoubleUpToFiveMinutes)
{
    const JobState job = Add(*MakeTestJob({{"Range", "1-50"}}));
    m_runner.slots = 4;
    m_runner.refuses = "no such program";
    FillSlots();
    EXPECT_EQ(News(RecordRuns()), Texts{"Waiting=no such program"});
    for (const int seconds : {1, 2, 4, 8, 16, 32, 64, 128, 256, 300, 300})
    {
        const std::chrono::seconds pause(seconds);
        EXPECT_EQ(m_scheduler.NextPauseEnd(), m_clock.Now() + pause) << seconds;
        m_clock.Pass(pause - 1ms);
        FillSlots();
        EXPECT_TRUE(m_ended.empty()) << "tried again before " << seconds;
        m_clock.Pass(1ms);
        FillSlots();
        EXPECT_EQ(m_ended.size(), 1u) << "one task shows how it is, after " << seconds;
        EXPECT_EQ(News(RecordRuns()), Texts{}) << "told once";
    }

    m_runner.refuses.clear();
    m_clock.Pass(300s);
    FillSlots();
    EXPECT_EQ(m_runner.started.size(), 1u);
    FillSlots();
    EXPECT_EQ(m_runner.started.size(), 1u) << "before the one has started";
    m_runner.TellStarts();
    EXPECT_EQ(News(RecordRuns()), (Texts{"Status=1", "Waiting="}));
    FillSlots();
    EXPECT_EQ(m_runner.started.size(), 4u);
    EXPECT_EQ(State(job.id).tasksFailed, 0u);
}

TEST_F(SchedulerTest, TriesAtOnceWhatSomebodyWantsToGoOn)
{
    const JobState job = Add(*MakeTestJob({{"Range", "1"}}));
    m_runner.refuses = "no such program";
    FillSlots();
    RecordRuns();
    m_clock.Pass(1s);
    FillSlots();
    RecordRuns();
    m_runner.refuses.clear();
    FillSlots();
    EXPECT_EQ(m_runner.started.size(), 0u);
    m_scheduler.TryNow(job.id);
    FillSlots();
    EXPECT_EQ(m_runner.started.size(), 1u);
    Finish(m_runner.started.back().run, 1);
    m_scheduler.TryNow(job.id);
    FillSlots();
    EXPECT_EQ(m_runner.started.size(), 2u);
}

TEST_F(SchedulerTest, NewsOfACommandThatTurnsOutNotToStartAreTroubleToo)
{
    const JobState job = Add(*MakeTestJob({{"Range", "1-2"}}));
    FillSlots();
    EXPECT_EQ(m_store.Tasks().Find(job, 0)->status, JobStatus::Running);
    EXPECT_EQ(State(job.id).status, JobStatus::Queued) << "nothing of it runs yet";
    EXPECT_EQ(News(Finish(1, {.isStarted = false, .reason = "no program x"})),
              Texts{"Waiting=no program x"});
    EXPECT_EQ(m_store.Tasks().Find(job, 0)->status, JobStatus::Queued);
    EXPECT_EQ(m_store.Tasks().Find(job, 0)->tries, 0u);
}

TEST_F(SchedulerTest, PausesAJobWithAPathThatLeadsOutAndFailsNoTask)
{
    m_runner.slots = 2;
    const JobState job = Add(*MakeTestJob({{"Range", "1-5"}}));
    const master::RunEnd leadsOut{
        .isStarted = false, .reason = "Scene /a leads to /b", .leadsOut = true};
    FillSlots();
    EXPECT_EQ(News(Finish(1, leadsOut)), (Texts{"Waiting=Scene /a leads to /b", "Status=4"}));
    EXPECT_EQ(News(Finish(2, leadsOut)), Texts{});
    EXPECT_EQ(State(job.id).status, JobStatus::Paused);
    EXPECT_EQ(State(job.id).tasksFailed, 0u);
    for (const unsigned task : {0u, 1u})
    {
        EXPECT_EQ(m_store.Tasks().Find(job, task)->status, JobStatus::Queued);
        EXPECT_EQ(m_store.Tasks().Find(job, task)->tries, 0u);
        EXPECT_EQ(m_store.Tasks().Find(job, task)->failures, 0u);
    }
    EXPECT_EQ(m_scheduler.NextPauseEnd(), std::nullopt) << "nothing is tried by itself";
    FillSlots();
    EXPECT_EQ(m_runner.started.size(), 2u);
}

// Somebody has mended it meanwhile; whoever was begun before does not know.
TEST_F(SchedulerTest, PassesOverTheTroubleOfWhatWasBegunBeforeSomebodyWantedItTried)
{
    const master::RunEnd troubles[] = {
        {.isStarted = false, .reason = "no program x"},
        {.isStarted = false, .reason = "Scene /a leads to /b", .leadsOut = true}};
    for (const master::RunEnd &trouble : troubles)
    {
        m_runner.started.clear();
        m_runner.slots = 2;
        const JobState job = Add(*MakeTestJob({{"Range", "1-2"}}));
        FillSlots();
        ASSERT_EQ(m_runner.started.size(), 2u);
        const int first = m_runner.started[0].run, second = m_runner.started[1].run;
        Finish(first, trouble);
        m_scheduler.TryNow(job.id);
        JobState state = State(job.id);
        state.status = JobStatus::Queued;
        state.waiting.clear();
        InTurn([&](Outbox &) { m_store.SaveState(state); });

        EXPECT_EQ(News(Finish(second, trouble)), Texts{}) << trouble.reason;
        EXPECT_EQ(State(job.id).status, JobStatus::Queued);
        EXPECT_EQ(m_scheduler.NextPauseEnd(), std::nullopt);
        const auto task = m_store.Tasks().Find(job, 1);
        EXPECT_EQ(task->status, JobStatus::Queued);
        EXPECT_EQ(task->tries, 0u);
        EXPECT_EQ(task->failures, 0u);

        FillSlots();
        ASSERT_EQ(m_runner.started.size(), 4u) << "both are tried again";
        EXPECT_NE(News(Finish(m_runner.started[2].run, trouble)), Texts{}) << "these know";
        Finish(m_runner.started[3].run, trouble);
        m_scheduler.TryNow(job.id);
        state = State(job.id);
        state.status = JobStatus::Cancelled;
        InTurn([&](Outbox &) { m_store.SaveState(state); });
    }
}

TEST_F(SchedulerTest, PlansNothingForATypeThatIsNotThereAndGoesOnWithTheOthers)
{
    m_runner.slots = 5;
    const JobState lost = Add(*MakeTestJob({{"Range", "1-50"}}, k_OnceType), 90);
    const JobState job = Add(*MakeTestJob({{"Range", "1-2"}}));
    TestJobTypes::Forget(k_OnceType);
    m_cache.Clear();

    const std::string reason =
        "the type " + k_OnceType.ToString() + " of the job is not known here";
    EXPECT_EQ(News(FillSlotsAndStart()), (Texts{"Waiting=" + reason, "Status=1"}));
    EXPECT_EQ(m_runner.started.size(), 2u);
    EXPECT_EQ(State(lost.id).status, JobStatus::Queued);
    EXPECT_EQ(State(lost.id).waiting, reason);
    EXPECT_FALSE(m_store.Tasks().HasAny(lost));
    EXPECT_EQ(State(job.id).waiting, "");
}

// What keeps a command from being started is the Master's own trouble, or the job's.
TEST_F(SchedulerTest, TellsOfAMachineWhatCommandsDidThere)
{
    Add(*MakeTestJob({{"Range", "1-3"}}));
    m_runner.slots = 2;
    FillSlotsAndStart();
    const int run = m_runner.started[0].run;
    const struct
    {
        const char *what;
        master::RunEnd end;
        const char *told; // Empty where nothing speaks for or against it.
    } cases[] = {
        {"it was done", {}, "done"},
        {"it failed", {.exitCode = 7}, "exit code 7"},
        {"it was killed", {.exitCode = -1}, "it was ended by a signal"},
        {"it wrote nothing", {.reason = "f.1 is not there"}, "f.1 is not there"},
        {"it could not be started", {.isStarted = false, .reason = "no program"}, ""},
        {"it was taken away", {.isLost = true}, ""},
        {"the machine failed",
         {.exitCode = -1, .reason = "it went down", .isLost = true, .machineFailed = true},
         "it went down"},
    };
    for (const auto &[what, end, told] : cases)
    {
        const auto judged = m_scheduler.JudgeRun({run, end}, "here");
        const std::string text = !judged ? "" : judged->hasFailed ? judged->why : "done";
        EXPECT_EQ(text, told) << what;
        EXPECT_EQ(judged ? judged->node : "here", "here") << what;
    }
    m_scheduler.FailRun(run, "it was stuck");
    EXPECT_EQ(m_scheduler.JudgeRun({run, {}}, "here")->why, "it was stuck");
    EXPECT_FALSE(m_scheduler.JudgeRun({run + 100, {}}, "here")) << "nobody knows it";
}

TEST_F(SchedulerTest, PausesAJobWhoseFirstTasksAllFail)
{
    const JobState job = Add(*MakeTestJob({{"Range", "1-50"}}));
    const Texts news = RunAll({.exitCode = 7});
    EXPECT_EQ(news, (Texts{"Status=1",
                           "Waiting=its first 10 tasks have all failed, the last of them: exit "
                           "code 7",
                           "Status=4"}));
    EXPECT_EQ(m_runner.started.size(), 10u);
    EXPECT_EQ(State(job.id).status, JobStatus::Paused);
    m_clock.Pass(1h);
    FillSlots();
    EXPECT_EQ(m_runner.started.size(), 10u);
}

TEST_F(SchedulerTest, GoesOnWithAJobOfWhichATaskWasDone)
{
    const JobState job = Add(*MakeTestJob({{"Range", "1-50"}}));
    FillSlots();
    Finish(1, 0);
    RunAll({.exitCode = 7});
    EXPECT_EQ(m_runner.started.size(), 50u);
    EXPECT_EQ(State(job.id).status, JobStatus::Running);
    EXPECT_EQ(State(job.id).waiting, "");
}

TEST_F(SchedulerTest, AJobOfFewTasksThatAllFailIsOver)
{
    const JobState job = Add(*MakeTestJob({{"Range", "1-9"}}));
    for (int round = 0; round < 3; ++round)
    {
        RunAll({.exitCode = 7});
        m_clock.Pass(30s);
    }
    EXPECT_EQ(m_runner.started.size(), 27u);
    EXPECT_EQ(State(job.id).status, JobStatus::Failed);
}

TEST_F(SchedulerTest, RunsACommandInTheFolderOfItsJobWithALogOfItsOwn)
{
    const JobState job = Add(*MakeTestJob({{"Range", "1"}}));
    FillSlots();
    EXPECT_EQ(m_runner.started[0].folder, m_logs.FolderOf(job.id));
    EXPECT_EQ(m_runner.started[0].log, m_logs.FileOf(job.id, 0, 1));
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
