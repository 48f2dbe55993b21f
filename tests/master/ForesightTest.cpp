#include "master/watch/Foresight.h"

#include <algorithm>

#include "corvan/Parameters.h"
#include "tests/master/StoreFixture.h"
#include "tests/support/FakeClock.h"
#include "tests/support/FakeLogLooks.h"
#include "tests/support/FakeRunner.h"

using corvan::JobStatus;
using master::Foresight;
using master::JobState;
using master::Outbox;
using master::RunResult;
using master::Scheduler;
using ostrel::UID;

using Texts = std::vector<std::string>;
using namespace std::chrono_literals;

namespace
{

class ForesightTest : public StoreFixture, private master::RunListener
{
protected:
    ForesightTest()
    {
        m_cache.SetMore([this](const JobState &state, corvan::Job &job)
                        { m_foresight.AddTo(state, job); });
        ostrel::Time::SetClock([] { return ostrel::Time(1'790'000'000'000'000'000); });
    }
    ~ForesightTest() override
    {
        ostrel::Time::SetClock(nullptr);
    }

    void FillSlots()
    {
        std::vector<Scheduler::Planned> planned;
        InTurn([&](Outbox &news) { planned = m_scheduler.Plan(news); });
        std::vector<RunResult> failed;
        m_scheduler.Start(planned, *this, failed);
        m_runner.TellStarts();
        InTurn(
            [&](Outbox &news)
            {
                for (const int run : m_started)
                    m_scheduler.RecordStart(run, news);
            });
        m_started.clear();
    }

    void Finish(int run, const master::RunEnd &end = {})
    {
        m_runner.Finish(run, end);
        InTurn(
            [&](Outbox &news)
            {
                for (const RunResult &result : m_ended)
                    m_scheduler.Record(result, news);
            });
        for (const RunResult &result : m_ended)
            m_scheduler.Forget(result.run);
        m_ended.clear();
    }

    // So many tasks, one after the other in one slot, each as long.
    void Render(int tasks, std::chrono::seconds each)
    {
        for (; tasks > 0; --tasks)
        {
            FillSlots();
            m_clock.Pass(each);
            Finish(m_runner.started.back().run);
        }
        FillSlots();
    }

    Texts Look()
    {
        Outbox outbox;
        m_seen = m_foresight.Look(outbox);
        for (const Foresight::Ending &ending : m_seen.endings)
            m_scheduler.FailRun(ending.run, ending.why);
        return News(outbox);
    }

    // What a client that asks is told.
    std::string Told(const UID &job, const ostrel::String &name)
    {
        ostrel::String reason;
        return m_cache.Whole(State(job), &reason)->ParameterText(name, false);
    }

    std::string Mark(const UID &job, unsigned task)
    {
        std::map<unsigned, master::RunPlace> places;
        m_foresight.Mark(job, places);
        return places[task].stuck;
    }

    FakeRunner m_runner;
    FakeClock m_clock;
    FakeLogLooks *m_looks = new FakeLogLooks;
    Scheduler m_scheduler{m_store, m_cache, m_logs, m_runner, m_clock};
    Foresight m_foresight{
        m_store, m_cache, m_scheduler, m_clock, std::unique_ptr<master::LogLooks>(m_looks), {}};
    Foresight::Seen m_seen;
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

TEST_F(ForesightTest, TellsNothingBeforeFiveTasksAreDone)
{
    const JobState job = Add(*MakeTestJob({{"Range", "1-100"}}));
    Render(4, 10s);
    EXPECT_EQ(Look(), Texts{});
    EXPECT_EQ(Told(job.id, corvan::p_FrameSeconds), "");
    EXPECT_EQ(Told(job.id, corvan::p_ExpectedEnd), "");
    EXPECT_TRUE(m_foresight.HasMore());
}

TEST_F(ForesightTest, TellsTimesRateAndEndOfWhatRuns)
{
    const JobState job = Add(*MakeTestJob({{"Range", "1-100"}}));
    Render(4, 10s);
    Look();
    Render(6, 10s);
    const Texts news = Look();
    ASSERT_EQ(news.size(), 4u);
    EXPECT_EQ(news[0], "FrameSeconds=10.0");
    EXPECT_EQ(news[1], "FrameSecondsSlowest=10.0");
    EXPECT_TRUE(news[2].starts_with("FramesPerHour=3")) << news[2];
    // 90 frames, 900 seconds from 14:13:20.
    EXPECT_TRUE(news[3].starts_with("ExpectedEnd=2026-09-21T14:28:")) << news[3];
    EXPECT_EQ("FrameSeconds=" + Told(job.id, corvan::p_FrameSeconds), news[0]);
    EXPECT_EQ("FramesPerHour=" + Told(job.id, corvan::p_FramesPerHour), news[2]);
    EXPECT_EQ("ExpectedEnd=" + Told(job.id, corvan::p_ExpectedEnd), news[3]);
}

TEST_F(ForesightTest, TimesAreThoseOfAFrameWhateverTheLengthOfAPacket)
{
    const JobState job = Add(*MakeTestJob({{"Range", "1-98"}, {"PacketSize", "5"}}));
    Render(10, 50s);
    EXPECT_EQ(Look().at(0), "FrameSeconds=10.0");
    Render(9, 50s);
    m_clock.Pass(30s);
    Finish(m_runner.started.back().run);
    EXPECT_EQ(State(job.id).status, JobStatus::Done);
    EXPECT_EQ(Told(job.id, corvan::p_FrameSecondsSlowest), "10.0") << "the last one has three";
}

TEST_F(ForesightTest, TriesThatFailedDoNotCount)
{
    const JobState job = Add(*MakeTestJob({{"Range", "1-6"}}));
    FillSlots();
    m_clock.Pass(1000s);
    Finish(m_runner.started.back().run, {.exitCode = 1});
    FillSlots();
    m_clock.Pass(2000s);
    Finish(m_runner.started.back().run, {.isLost = true});
    m_clock.Pass(10s);
    Render(6, 10s);
    EXPECT_EQ(State(job.id).status, JobStatus::Done);
    EXPECT_EQ(Told(job.id, corvan::p_FrameSecondsSlowest), "10.0");
}

TEST_F(ForesightTest, WhatTheNodeTellsOfItsTimeGoesFirst)
{
    const JobState job = Add(*MakeTestJob({{"Range", "1-5"}}));
    for (int i = 0; i < 5; ++i)
    {
        FillSlots();
        m_clock.Pass(60s);
        Finish(m_runner.started.back().run, {.took = 20s});
    }
    EXPECT_EQ(Told(job.id, corvan::p_FrameSecondsSlowest), "20.0");
}

TEST_F(ForesightTest, KeepsTheTimesOverARestartAndNoExpectedEnd)
{
    const JobState job = Add(*MakeTestJob({{"Range", "1-100"}}));
    Render(10, 10s);
    Look();
    Foresight next(m_store, m_cache, m_scheduler, m_clock, nullptr, {});
    m_cache.SetMore([&](const JobState &state, corvan::Job &added) { next.AddTo(state, added); });
    EXPECT_EQ(Told(job.id, corvan::p_FrameSeconds), "10.0");
    EXPECT_EQ(Told(job.id, corvan::p_ExpectedEnd), "");
    Outbox outbox;
    next.Look(outbox);
    EXPECT_NE(Told(job.id, corvan::p_ExpectedEnd), "");
}

TEST_F(ForesightTest, FollowersAreToldNoMoreThanEachTenSecondsAndOnlyOfWhatIsAnotherOne)
{
    Add(*MakeTestJob({{"Range", "1-1000"}}));
    Render(10, 1s);
    std::size_t messages = Look().size();
    EXPECT_EQ(messages, 4u);
    int ends = 0;
    for (int i = 0; i < 300; ++i)
    {
        Render(1, 1s);
        const Texts news = Look();
        messages += news.size();
        ends += int(std::ranges::count_if(news, [](const std::string &one)
                                          { return one.starts_with("ExpectedEnd="); }));
    }
    EXPECT_LT(messages, 100u);
    // It is ten seconds off each time.
    EXPECT_GT(ends, 1);
    EXPECT_LT(ends, 15);
}

TEST_F(ForesightTest, RegardsTheSlotsThatTheJobReallyGets)
{
    m_runner.slots = 4;
    const JobState job = Add(*MakeTestJob({{"Range", "1-400"}}));
    for (int i = 0; i < 40; ++i)
    {
        FillSlots();
        m_clock.Pass(10s);
        const std::size_t count = m_runner.started.size();
        for (std::size_t one = count - 4; one < count; ++one)
            Finish(m_runner.started[one].run);
        FillSlots();
        Look();
    }
    EXPECT_NEAR(std::stod(Told(job.id, corvan::p_FramesPerHour)), 4 * 360, 60);
    // 240 frames in four slots.
    EXPECT_TRUE(Told(job.id, corvan::p_ExpectedEnd).starts_with("2026-09-21T14:2"))
        << Told(job.id, corvan::p_ExpectedEnd);
    // Others go first.
    m_runner.slots = 1;
    for (int i = 0; i < 30; ++i)
    {
        m_clock.Pass(10s);
        while (m_scheduler.ListStarted().size() > 1)
            Finish(m_scheduler.ListStarted().front().run);
        Finish(m_scheduler.ListStarted().front().run);
        FillSlots();
        Look();
    }
    EXPECT_NEAR(std::stod(Told(job.id, corvan::p_FramesPerHour)), 360, 40);
}

TEST_F(ForesightTest, TheEndStaysWhileNothingRunsForAMomentAndGoesWhereNothingDoesForLong)
{
    const JobState job = Add(*MakeTestJob({{"Range", "1-100"}}));
    Render(10, 10s);
    ASSERT_EQ(Look().size(), 4u);
    m_clock.Pass(10s);
    Finish(m_runner.started.back().run);
    for (const std::string &one : Look())
        EXPECT_FALSE(one.ends_with("=")) << one;
    EXPECT_NE(Told(job.id, corvan::p_FramesPerHour), "");
    EXPECT_NE(Told(job.id, corvan::p_ExpectedEnd), "");
    m_clock.Pass(60s);
    EXPECT_EQ(Look(), (Texts{"FramesPerHour=", "ExpectedEnd="}));
    EXPECT_EQ(Told(job.id, corvan::p_ExpectedEnd), "");
    EXPECT_FALSE(m_foresight.HasMore());
}

TEST_F(ForesightTest, ForgetsTheEndWhenTheJobIsPausedAndWhenItIsOver)
{
    m_runner.slots = 1;
    JobState job = Add(*MakeTestJob({{"Range", "1-11"}}));
    Render(10, 10s);
    EXPECT_EQ(Look().size(), 4u);
    job = State(job.id);
    job.status = JobStatus::Paused;
    InTurn([&](Outbox &) { m_store.SaveState(job); });
    EXPECT_EQ(Look(), (Texts{"FramesPerHour=", "ExpectedEnd="}));
    EXPECT_EQ(Told(job.id, corvan::p_ExpectedEnd), "");
    Finish(m_runner.started.back().run);
    Look();
    EXPECT_FALSE(m_foresight.HasMore());
    EXPECT_EQ(Told(job.id, corvan::p_FrameSeconds), "10.0");
}

TEST_F(ForesightTest, TellsAtOnceOfATaskThatRunsMuchLongerThanItsFellows)
{
    const JobState job = Add(*MakeTestJob({{"Range", "1-100"}}));
    Render(10, 100s);
    Look();
    m_clock.Pass(299s);
    for (const std::string &news : Look())
        EXPECT_FALSE(news.starts_with("StuckTasks")) << news;
    m_clock.Pass(30s);
    EXPECT_EQ(Look().at(0), "StuckTasks=10");
    EXPECT_EQ(Mark(job.id, 10),
              "it runs for 5:29, 3 times as long as the slowest tenth of the others");
    EXPECT_EQ(Told(job.id, corvan::p_StuckTasks), "10");
    EXPECT_EQ(m_foresight.CountStuck(job.id), 1u);
    EXPECT_TRUE(m_seen.endings.empty());
    ASSERT_EQ(m_seen.stuck.size(), 1u);
    EXPECT_EQ(m_seen.stuck[0].job, job.id);
    EXPECT_EQ(m_seen.stuck[0].why, "task 10, " + Mark(job.id, 10));
    m_clock.Pass(5s);
    for (const std::string &news : Look())
        EXPECT_FALSE(news.starts_with("StuckTasks")) << "it is told: " << news;
    EXPECT_TRUE(m_seen.stuck.empty());
    Finish(m_runner.started.back().run);
    FillSlots();
    EXPECT_EQ(Look().at(0), "StuckTasks=");
    EXPECT_EQ(Mark(job.id, 10), "");
}

TEST_F(ForesightTest, TellsOfATaskWhoseLogHasBeenSilentForLong)
{
    const JobState job = Add(*MakeTestJob({{"Range", "1-100"}}));
    FillSlots();
    m_looks->bytes[1] = 10;
    // What it prints, by and by; then nothing.
    for (int i = 0; i < 200; ++i)
    {
        m_looks->bytes[1] += i < 100 ? 10 : 0;
        m_clock.Pass(20s);
        const Texts news = Look();
        EXPECT_EQ(news.empty(), i != 189) << i;
    }
    EXPECT_EQ(Mark(job.id, 0).substr(0, 29), "it has printed nothing for 33");
    m_looks->bytes[1] += 1;
    m_clock.Pass(20s);
    EXPECT_EQ(Look(), Texts{"StuckTasks="});
}

TEST_F(ForesightTest, ALogThatIsEmptyOrNotThereTellsNothing)
{
    m_runner.slots = 2;
    const JobState job = Add(*MakeTestJob({{"Range", "1-100"}}));
    FillSlots();
    m_looks->bytes[1] = 0;
    for (int i = 0; i < 200; ++i)
    {
        m_clock.Pass(20s);
        EXPECT_EQ(Look(), Texts{});
    }
    EXPECT_EQ(m_looks->asked.size(), 2u);
    EXPECT_EQ(m_looks->asked[0].file, m_logs.FileOf(job.id, 0, 1));
}

TEST_F(ForesightTest, AShareThatHangsKeepsItFromNothingElse)
{
    const JobState job = Add(*MakeTestJob({{"Range", "1-100"}}));
    m_looks->hangs = true;
    Render(10, 100s);
    EXPECT_EQ(Look().size(), 4u);
    const std::size_t asked = m_looks->asked.size();
    m_clock.Pass(1000s);
    EXPECT_EQ(Look().at(0), "StuckTasks=10");
    EXPECT_EQ(m_looks->asked.size(), asked) << "it is asked once";
    EXPECT_NE(Told(job.id, corvan::p_ExpectedEnd), "");
}

TEST_F(ForesightTest, EndsWhatIsStuckWhereTheTypeSaysSoAsAFailedTry)
{
    TestJobTypes::IsStuckBy({.slowSeconds = 60, .ends = true});
    const JobState job = Add(*MakeTestJob({{"Range", "1-100"}}));
    Render(10, 10s);
    Look();
    m_clock.Pass(90s);
    Look();
    ASSERT_EQ(m_seen.endings.size(), 1u);
    const int run = m_runner.started.back().run;
    EXPECT_EQ(m_runner.ended, std::vector{run});
    m_clock.Pass(5s);
    Look();
    EXPECT_EQ(m_runner.ended, std::vector{run}) << "once";

    // However it takes it.
    Finish(run, {.exitCode = 0});
    const auto task = m_store.Tasks().Find(State(job.id), 10);
    EXPECT_EQ(task->status, JobStatus::Queued);
    EXPECT_EQ(task->failures, 1u);
    EXPECT_EQ(task->exitCode, -1);
    EXPECT_EQ(task->reason, "it was ended since it runs for 1:30, 9 times as long as the slowest "
                            "tenth of the others");
    EXPECT_EQ(State(job.id).tasksDone, 10u);
    m_clock.Pass(10s);
    FillSlots();
    EXPECT_EQ(m_runner.started.back().log, m_logs.FileOf(job.id, 10, 2));
}

TEST_F(ForesightTest, AnEndThatWasWantedForAnotherReasonIsNoFailure)
{
    TestJobTypes::IsStuckBy({.slowSeconds = 60, .ends = true});
    const JobState job = Add(*MakeTestJob({{"Range", "1-100"}}));
    Render(10, 10s);
    m_clock.Pass(90s);
    Look();
    m_scheduler.EndRuns({job.id, {}});
    Finish(m_runner.started.back().run, {.exitCode = -1});
    EXPECT_EQ(m_store.Tasks().Find(State(job.id), 10)->failures, 0u);
}

TEST_F(ForesightTest, ManyTasksThatAreStuckAreToldShort)
{
    m_runner.slots = 2000;
    TestJobTypes::IsStuckBy({.slowSeconds = 1});
    const JobState job = Add(*MakeTestJob({{"Range", "1-2000"}}));
    FillSlots();
    m_clock.Pass(1s);
    for (std::size_t task = 0; task < 2000; task += 3)
        Finish(m_runner.started[task].run);
    m_clock.Pass(100s);
    const std::string news = Look().at(0);
    EXPECT_LT(news.size(), 600u);
    EXPECT_TRUE(news.starts_with("StuckTasks=1")) << news;
    EXPECT_TRUE(news.ends_with(",...")) << news;
    EXPECT_GT(m_foresight.CountStuck(job.id), 1000u);
}

} // namespace
