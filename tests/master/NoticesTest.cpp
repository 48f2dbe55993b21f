#include "master/notices/Notices.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "corvan/Parameters.h"
#include "master/program/MasterOptions.h"
#include "master/program/NoticeOptions.h"
#include "ostrel/Attempt.h"
#include "tests/master/StoreFixture.h"
#include "tests/support/EnvironmentGuard.h"
#include "tests/support/FakeAlarmClock.h"
#include "tests/support/FakeTools.h"
#include "tests/support/LogCapture.h"

namespace master
{
namespace
{

using Texts = std::vector<std::string>;
using namespace std::chrono_literals;

class NoticesTest : public StoreFixture
{
protected:
    NoticesTest()
    {
        m_settings.command = {"/bin/tell", "{Event}", "{Name}", "{Reason}"};
        m_settings.events = {NoticeEvents().begin(), NoticeEvents().end()};
        Begin();
    }

    // Once more after an earlier one.
    void Begin()
    {
        auto tools = std::make_unique<FakeTools>();
        m_tools = tools.get();
        m_notices.reset();
        m_notices =
            std::make_unique<Notices>(m_store, m_cache, m_clock, m_settings, std::move(tools));
    }

    UID AddJob(const String &name, JobStatus status = JobStatus::Done, const String &waiting = {})
    {
        JobState state = Add(*MakeTestJob({{"Range", "1-3"}, {"Name", name}}));
        state.status = status;
        state.waiting = waiting;
        InTurn([&](Outbox &) { m_store.SaveState(state); });
        return state.id;
    }

    // What runs have made of a job is told to its followers, and so noted.
    void Note(const UID &job, const String &status)
    {
        InTurn(
            [&](Outbox &outbox)
            {
                outbox.Tell(job, corvan::p_Status, status);
                m_notices->Keep(outbox);
            });
        m_notices->Wake();
    }

    Texts Arguments() const
    {
        return m_tools->asked.empty() ? Texts() : m_tools->asked.back().arguments;
    }

    FakeAlarmClock m_clock;
    NoticeSettings m_settings;
    FakeTools *m_tools = nullptr;
    std::unique_ptr<Notices> m_notices;
};

TEST_F(NoticesTest, TellOfWhatRunsHaveDoneToAJob)
{
    const struct
    {
        JobStatus status;
        const char *waiting;
        Texts arguments;
        const char *text;
    } cases[] = {
        {JobStatus::Done, "", {"/bin/tell", "done", "tower", ""}, "job \"tower\" is done: 3 tasks"},
        {JobStatus::Failed,
         "",
         {"/bin/tell", "failed", "tower", ""},
         "job \"tower\" has failed: 0 of 3 tasks"},
        {JobStatus::Paused,
         "Scene leads out",
         {"/bin/tell", "paused", "tower", "Scene leads out"},
         "job \"tower\" is paused: Scene leads out"},
    };
    for (const auto &[status, waiting, arguments, text] : cases)
    {
        const UID job = AddJob("tower", status, waiting);
        Note(job, std::to_string(int(status)));
        EXPECT_EQ(Arguments(), arguments);
        const auto facts = nlohmann::json::parse(m_tools->asked.back().input);
        EXPECT_EQ(facts["text"], text);
        EXPECT_EQ(facts["id"], std::string(job.ToString()));
        EXPECT_EQ(facts["tasksTotal"], 3);
        m_tools->End();
    }
    EXPECT_TRUE(m_store.Notices().List().empty());
}

TEST_F(NoticesTest, TheCommandHasATimeAndNothingOfTheMastersEnvironment)
{
    const EnvironmentGuard secret("CORVAN_SECRET", "1234");
    m_settings.limit = 7s;
    Begin();
    Note(AddJob("tower"), "2");
    EXPECT_EQ(m_tools->limits, std::vector<std::chrono::milliseconds>{7s});
    const Texts &environment = m_tools->asked.back().environment;
    EXPECT_TRUE(std::ranges::any_of(environment, [](const std::string &one)
                                    { return one.starts_with("PATH="); }));
    EXPECT_TRUE(std::ranges::none_of(environment, [](const std::string &one)
                                     { return one.starts_with("CORVAN_SECRET"); }));
}

TEST_F(NoticesTest, OtherNewsAreNoNotices)
{
    const UID job = AddJob("tower");
    for (const char *status : {"0", "1", "5"})
        Note(job, status);
    InTurn(
        [&](Outbox &outbox)
        {
            outbox.Tell(job, corvan::p_TasksDone, "3");
            m_notices->Keep(outbox);
        });
    m_notices->Wake();
    EXPECT_TRUE(m_tools->asked.empty());
    EXPECT_TRUE(m_store.Notices().List().empty());
}

TEST_F(NoticesTest, OnlyWhatIsWantedIsKept)
{
    m_settings.events = {NoticeEvent::Failed};
    Begin();
    Note(AddJob("tower"), "2");
    EXPECT_TRUE(m_store.Notices().List().empty());
    Note(AddJob("tower", JobStatus::Failed), "3");
    EXPECT_EQ(Arguments().at(1), "failed");
    m_settings.command.clear();
    Begin();
    Note(AddJob("tower", JobStatus::Failed), "3");
    EXPECT_TRUE(m_tools->asked.empty());
}

TEST_F(NoticesTest, ATurnThatIsUndoneTellsNothing)
{
    const UID job = AddJob("tower");
    {
        JobStore::Turn turn(m_store);
        m_notices->Keep(NoticeEvent::Stuck, job, "task 7, it runs");
    }
    m_notices->Wake();
    EXPECT_TRUE(m_tools->asked.empty());
}

TEST_F(NoticesTest, OneAtATimeAndInOrder)
{
    for (const char *name : {"a", "b", "c"})
        Note(AddJob(name), "2");
    ASSERT_EQ(m_tools->asked.size(), 1u);
    EXPECT_EQ(Arguments().at(2), "a");
    m_tools->End();
    EXPECT_EQ(Arguments().at(2), "b");
    m_tools->End();
    EXPECT_EQ(Arguments().at(2), "c");
    m_tools->End();
    EXPECT_EQ(m_tools->asked.size(), 3u);
    EXPECT_FALSE(m_tools->IsRunning());
}

TEST_F(NoticesTest, ACommandThatFailsIsTriedAgainAfterPausesAndOthersMeanwhile)
{
    Note(AddJob("a"), "2");
    m_tools->End({.status = 75});
    Note(AddJob("b"), "2");
    EXPECT_EQ(Arguments().at(2), "b");
    m_tools->End();
    m_clock.Pass(9'999ms);
    EXPECT_EQ(m_tools->asked.size(), 2u);
    m_clock.Pass(1ms);
    ASSERT_EQ(m_tools->asked.size(), 3u);
    EXPECT_EQ(Arguments().at(2), "a");
    m_tools->End(
        {.isStarted = false, .status = -1, .error = "cannot start /bin/tell: No such file"});
    m_clock.Pass(19s);
    EXPECT_EQ(m_tools->asked.size(), 3u);
    m_clock.Pass(1s);
    ASSERT_EQ(m_tools->asked.size(), 4u);
    m_tools->End({.isCutOff = true});
    m_clock.Pass(40s);
    m_tools->End();
    EXPECT_TRUE(m_store.Notices().List().empty());
    m_clock.Pass(24h);
    EXPECT_EQ(m_tools->asked.size(), 5u);
}

TEST_F(NoticesTest, OneThatNeverSucceedsIsGivenUpAndTheLogSaysSo)
{
    LogCapture log;
    Note(AddJob("a"), "2");
    for (int tries = 1; m_tools->IsRunning(); ++tries)
    {
        ASSERT_LE(tries, m_settings.mostTries);
        m_tools->End({.status = 1});
        m_clock.Pass(10min);
    }
    EXPECT_EQ(m_tools->asked.size(), std::size_t(m_settings.mostTries));
    EXPECT_TRUE(m_store.Notices().List().empty());
    EXPECT_EQ(1, log.Count(ostrel::k_LogError,
                           "a notice is not told: its command has failed 10 times, the last time: "
                           "exit status 1"));
}

TEST_F(NoticesTest, WhatWaitsIsToldAfterARestart)
{
    Note(AddJob("a"), "2");
    Note(AddJob("b"), "2");
    m_tools->End({.status = 1});
    Begin();
    m_notices->Wake();
    EXPECT_EQ(Arguments().at(2), "a");
    m_tools->End();
    EXPECT_EQ(Arguments().at(2), "b");
    m_tools->End();
    EXPECT_TRUE(m_store.Notices().List().empty());
}

TEST_F(NoticesTest, WhereTooManyWaitTheOldestAreNotTold)
{
    m_settings.mostWaiting = 3;
    Begin();
    LogCapture log;
    for (const char *name : {"a", "b", "c", "d", "e"})
        Note(AddJob(name), "2");
    EXPECT_EQ(m_store.Notices().List().size(), 3u);
    EXPECT_EQ(2, log.Count(ostrel::k_LogError,
                           "more than 3 notices wait; the oldest of them is not told"));
    Texts told;
    for (; m_tools->IsRunning(); m_tools->End())
        told.push_back(Arguments().at(2));
    EXPECT_EQ(told, (Texts{"a", "c", "d", "e"}));
}

TEST_F(NoticesTest, WhatTheCommandPrintsIsInTheLog)
{
    LogCapture log;
    Note(AddJob("a"), "2");
    m_tools->End({.output = "sent to 3\n", .error = "one\x1b[31m is away\n"});
    EXPECT_EQ(1, log.Count(ostrel::k_LogStatus, "the notices' command says: sent to 3"));
    EXPECT_EQ(1, log.Count(ostrel::k_LogStatus, "the notices' command says: one [31m is away"));
}

TEST_F(NoticesTest, ValuesNeverBecomeOptionsOrLines)
{
    m_settings.command = {"/bin/tell", "{Name}", "--job={Name}", "{Text}", "{Reason}", "{Owner}"};
    Begin();
    const UID job = AddJob("--wrap=x");
    InTurn([&](Outbox &) { m_notices->Keep(NoticeEvent::Stuck, job, "-r\nBcc: all\x7f"); });
    m_notices->Wake();
    EXPECT_EQ(Arguments(),
              (Texts{"/bin/tell", " --wrap=x", "--job= --wrap=x",
                     "job \"--wrap=x\" seems to be stuck: -r Bcc: all ", " -r Bcc: all ", ""}));
    const auto facts = nlohmann::json::parse(m_tools->asked.back().input);
    EXPECT_EQ(facts["name"], "--wrap=x");
    EXPECT_EQ(facts["reason"], "-r\nBcc: all\x7f");
    EXPECT_EQ(m_tools->asked.back().input.find('\n'), m_tools->asked.back().input.size() - 1);
}

TEST_F(NoticesTest, ALongTextIsCut)
{
    const UID job = AddJob("a");
    InTurn([&](Outbox &)
           { m_notices->Keep(NoticeEvent::Paused, job, String(std::string(1u << 20, 'x'))); });
    m_notices->Wake();
    EXPECT_EQ(Arguments().back().size(), 4000u);
    EXPECT_LT(m_tools->asked.back().input.size(), 10'000u);
}

TEST(NoticeOptions, AreReadWhole)
{
    ostrel::IniFile options;
    String error;
    ASSERT_TRUE(options.Parse("[Notices]\n2 = {Text}\n1 = /bin/mail\nEvents = failed stuck\n"
                              "LimitSeconds = 5\n",
                              &error));
    const NoticeSettings settings = ReadNotices(options);
    EXPECT_EQ(settings.command, (std::vector<String>{"/bin/mail", "{Text}"}));
    EXPECT_EQ(settings.events, (std::set{NoticeEvent::Failed, NoticeEvent::Stuck}));
    EXPECT_EQ(settings.limit, 5s);
    ASSERT_TRUE(options.Parse("[Notices]\n1 = a\n", &error));
    EXPECT_EQ(ReadNotices(options).events.size(), NoticeEvents().size());
    ASSERT_TRUE(options.Parse("[Master]\n", &error));
    EXPECT_TRUE(ReadNotices(options).command.empty());
}

TEST(NoticeOptions, RefuseWhatCannotBe)
{
    const std::pair<const char *, const char *> cases[] = {
        {"[Notices]\nEvents = done\n", "section \"Notices\" names no command"},
        {"[Notices]\n1 = a\nEvent = done\n", "key \"Event\" of section \"Notices\" is no number"},
        {"[Notices]\n1 = a\nEvents = done, failed\n",
         "section \"Notices\" of the options: Events: \"done,\" is none of done, failed, paused, "
         "bad, stuck"},
        {"[Notices]\n1 = a\n2 = {Nmae}\n", "Nmae"},
        {"[Notices]\n1 = a{Name\n", "a brace is not closed"},
        {"[Notices]\n1 = a\nLimitSeconds = 0\n",
         "LimitSeconds = 0: it has to be a number from 1 to 3600"},
    };
    for (const auto &[text, reason] : cases)
    {
        ostrel::IniFile options;
        String error;
        ASSERT_TRUE(options.Parse(text, &error)) << error;
        const auto thrown = ostrel::Attempt([&] { ReadNotices(options); });
        ASSERT_TRUE(thrown) << text;
        EXPECT_NE(thrown->find(reason), String::npos) << *thrown;
    }
}

} // namespace
} // namespace master
