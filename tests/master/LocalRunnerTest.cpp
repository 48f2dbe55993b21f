#include "master/run/LocalRunner.h"

#include <boost/asio/io_context.hpp>
#include <csignal>
#include <fstream>
#include <optional>
#include <sys/resource.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/support/MemoryLimit.h"
#include "tests/support/Printing.h"
#include "tests/support/TempFolder.h"

using master::Command;
using master::LocalRunner;
using ostrel::String;
using namespace std::chrono_literals;

namespace
{

constexpr auto k_patience = 300ms;

class LocalRunnerTest : public ::testing::Test, private master::RunListener
{
protected:
    bool Start(const std::vector<std::string> &arguments)
    {
        const Command command{m_run, arguments, m_folder.Folder(), m_folder / "log"};
        return m_runner.Start(command, Listener(), &m_reason);
    }

    bool StartScript(const std::string &script)
    {
        return Start({"/bin/sh", "-c", script, "test"});
    }

    // Runs the loop until `isReached`, or for a good while.
    template <typename Condition> bool RunUntil(Condition isReached)
    {
        const auto limit = std::chrono::steady_clock::now() + 30s;
        while (!isReached() && std::chrono::steady_clock::now() < limit)
            m_loop.run_one_for(20ms);
        m_loop.restart();
        return isReached();
    }

    bool RunUntilEnded()
    {
        return RunUntil([this] { return !m_ended.empty(); });
    }

    // The number that a script has written into a file; 0 while it is not there.
    pid_t ReadNumber(const String &leaf) const
    {
        std::ifstream file((m_folder / leaf).Text());
        pid_t number = 0;
        file >> number;
        return number;
    }

    static bool IsAlive(pid_t process)
    {
        // One that has ended and was not collected by init yet is not alive.
        std::ifstream stat("/proc/" + std::to_string(process) + "/stat");
        std::string text((std::istreambuf_iterator<char>(stat)), {});
        const std::size_t name = text.rfind(") ");
        return name != std::string::npos && text[name + 2] != 'Z' && text[name + 2] != 'X';
    }

    master::RunListener &Listener()
    {
        return *this;
    }

    TempFolder m_folder;
    int m_run = 1;
    std::vector<std::pair<int, int>> m_ended;
    String m_reason;
    boost::asio::io_context m_loop;
    LocalRunner m_runner{m_loop, 2, k_patience, m_folder.Folder().Text()};
    std::vector<int> m_started;

private:
    void OnStarted(int run) override
    {
        m_started.push_back(run);
    }

    void OnEnded(int run, const master::RunEnd &end) override
    {
        m_ended.push_back({run, end.exitCode});
    }
};

using Ended = std::vector<std::pair<int, int>>;

TEST_F(LocalRunnerTest, TellsHowACommandEnded)
{
    const struct
    {
        const char *script;
        int exitCode;
    } cases[] = {
        {"exit 0", 0}, {"exit 3", 3}, {"exit 255", 255}, {"kill -9 $$", -1}, {"kill -15 $$", -1},
    };
    for (const auto &[script, exitCode] : cases)
    {
        m_ended.clear();
        ASSERT_TRUE(StartScript(script)) << m_reason;
        ASSERT_TRUE(RunUntilEnded()) << script;
        EXPECT_EQ(m_ended, (Ended{{m_run, exitCode}})) << script;
        ++m_run;
    }
}

TEST_F(LocalRunnerTest, KeepsItsSlotsWhereTheSystemHasNoMoreDescriptors)
{
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer itself needs descriptors to look at an object";
#endif
    rlimit before{};
    ::getrlimit(RLIMIT_NOFILE, &before);
    const int first = ::dup(STDERR_FILENO);
    ::close(first);

    // Each step of a start is refused once; a loop makes its own descriptors with the first.
    int refused = 0, started = 0;
    for (int more = 0; more < 20; ++more)
    {
        boost::asio::io_context loop;
        LocalRunner runner(loop, 1, k_patience, m_folder.Folder().Text());
        const Command command{1, {"/bin/sh", "-c", ":"}, m_folder.Folder(), m_folder / "log"};
        rlimit few = before;
        few.rlim_cur = rlim_t(first + more);
        ::setrlimit(RLIMIT_NOFILE, &few);
        String reason;
        const bool isStarted = runner.Start(command, Listener(), &reason);
        ::setrlimit(RLIMIT_NOFILE, &before);

        EXPECT_EQ(runner.FreeSlots(), isStarted ? 0 : 1) << more;
        EXPECT_EQ(reason.empty(), isStarted) << more << ": " << reason;
        ++(isStarted ? started : refused);
    }
    EXPECT_GT(refused, 3);
    EXPECT_GT(started, 3);
    const int after = ::dup(STDERR_FILENO);
    EXPECT_EQ(after, first) << "a descriptor is left open";
    ::close(after);
}

TEST_F(LocalRunnerTest, KeepsItsSlotsWhereThereIsNoMemory)
{
    int refused = 0, started = 0;
    for (std::size_t most = 16; most <= 65'536; most += most / 2)
    {
        boost::asio::io_context loop;
        LocalRunner runner(loop, 1, k_patience, m_folder.Folder().Text());
        const Command command{1, {"/bin/sh", "-c", ":"}, m_folder.Folder(), m_folder / "log"};
        String reason;
        bool isStarted = false;
        {
            const MemoryLimit limit(most);
            isStarted = runner.Start(command, Listener(), &reason);
        }
        EXPECT_EQ(runner.FreeSlots(), isStarted ? 0 : 1) << most;
        EXPECT_EQ(reason, isStarted ? "" : "out of memory") << most;
        ++(isStarted ? started : refused);
    }
    EXPECT_GT(refused, 3);
    EXPECT_GT(started, 3);
}

TEST_F(LocalRunnerTest, HandsArgumentsOverAsTheyAre)
{
    ASSERT_TRUE(Start({"/bin/sh", "-c", "for a; do printf '[%s]' \"$a\"; done", "test",
                       "$HOME `id` \"x\" 'y' ; *", "", "two\nlines", "Größe"}));
    ASSERT_TRUE(RunUntilEnded());
    EXPECT_EQ(ContentOf(m_folder / "log"), "[$HOME `id` \"x\" 'y' ; *][][two\nlines][Größe]");
}

TEST_F(LocalRunnerTest, KeepsWhatTheCommandPrintsInItsLog)
{
    m_folder.MakeFile("log", std::string(1000, 'x'));
    ASSERT_TRUE(StartScript("echo out; echo error >&2; pwd"));
    ASSERT_TRUE(RunUntilEnded());
    EXPECT_EQ(ContentOf(m_folder / "log"), "out\nerror\n" + m_folder.Folder().Text() + "\n");
}

TEST_F(LocalRunnerTest, GivesACommandNothingToReadAndNoFilesOfItsOwn)
{
    ASSERT_TRUE(StartScript("cat; ls /proc/$$/fd"));
    ASSERT_TRUE(RunUntilEnded());
    EXPECT_EQ(ContentOf(m_folder / "log"), "0\n1\n2\n");
}

TEST_F(LocalRunnerTest, GivesACommandUsualSignals)
{
    ::signal(SIGPIPE, SIG_IGN);
    ASSERT_TRUE(StartScript("kill -PIPE $$; echo still here"));
    ASSERT_TRUE(RunUntilEnded());
    ::signal(SIGPIPE, SIG_DFL);
    EXPECT_EQ(m_ended, (Ended{{1, -1}}));
}

TEST_F(LocalRunnerTest, SaysWhyACommandCannotBeStarted)
{
    const std::pair<const char *, const char *> cases[] = {
        {"no-such-program-anywhere", "no program no-such-program-anywhere in the search path"},
        {"/no/such/program", "cannot start /no/such/program: No such file or directory"},
        {"/etc/passwd", "cannot start /etc/passwd: Permission denied"},
    };
    for (const auto &[program, reason] : cases)
    {
        EXPECT_FALSE(Start({program, "x"}));
        EXPECT_EQ(m_reason, reason);
    }
    EXPECT_EQ(m_runner.FreeSlots(), 2);
    EXPECT_TRUE(m_ended.empty());
}

TEST_F(LocalRunnerTest, SaysWhyThereCanBeNoLog)
{
    m_folder.MakeFolder("log");
    EXPECT_FALSE(StartScript("exit 0"));
    EXPECT_EQ(m_reason, "cannot write " + (m_folder / "log").Text());
}

TEST_F(LocalRunnerTest, CountsItsSlots)
{
    EXPECT_EQ(m_runner.FreeSlots(), 2);
    ASSERT_TRUE(StartScript("exec sleep 100"));
    EXPECT_EQ(m_runner.FreeSlots(), 1);
    m_runner.End(1);
    EXPECT_EQ(m_runner.FreeSlots(), 1);
    ASSERT_TRUE(RunUntilEnded());
    EXPECT_EQ(m_runner.FreeSlots(), 2);
}

TEST_F(LocalRunnerTest, EndsACommandWithAllThatItStarted)
{
    ASSERT_TRUE(StartScript("sh -c 'echo $$ > inner; sleep 100 & echo $! > grandchild; wait' & "
                            "wait"));
    ASSERT_TRUE(RunUntil([this] { return ReadNumber("grandchild") > 0; }));
    const pid_t inner = ReadNumber("inner"), grandchild = ReadNumber("grandchild");
    EXPECT_TRUE(IsAlive(grandchild));

    m_runner.End(1);
    ASSERT_TRUE(RunUntilEnded());
    EXPECT_EQ(m_ended, (Ended{{1, -1}}));
    EXPECT_TRUE(RunUntil([&] { return !IsAlive(inner) && !IsAlive(grandchild); }));
}

TEST_F(LocalRunnerTest, KillsACommandThatDoesNotEndWhenItIsAsked)
{
    ASSERT_TRUE(StartScript("trap '' TERM; echo $$ > self; while :; do sleep 0.01; done"));
    ASSERT_TRUE(RunUntil([this] { return ReadNumber("self") > 0; }));
    const auto start = std::chrono::steady_clock::now();
    m_runner.End(1);
    ASSERT_TRUE(RunUntilEnded());
    EXPECT_GE(std::chrono::steady_clock::now() - start, k_patience);
    EXPECT_EQ(m_ended, (Ended{{1, -1}}));
}

TEST_F(LocalRunnerTest, LetsACommandEndByItselfWhenItIsAsked)
{
    ASSERT_TRUE(StartScript("trap 'echo cleaned; exit 5' TERM; echo $$ > self;"
                            "while :; do sleep 0.01; done"));
    ASSERT_TRUE(RunUntil([this] { return ReadNumber("self") > 0; }));
    m_runner.End(1);
    ASSERT_TRUE(RunUntilEnded());
    EXPECT_EQ(m_ended, (Ended{{1, 5}}));
    EXPECT_TRUE(ContentOf(m_folder / "log").ends_with("cleaned\n"));
}

TEST_F(LocalRunnerTest, KillsWhatACommandLeavesBehind)
{
    ASSERT_TRUE(StartScript("sleep 100 & echo $! > left; exit 0"));
    ASSERT_TRUE(RunUntilEnded());
    EXPECT_EQ(m_ended, (Ended{{1, 0}}));
    EXPECT_TRUE(RunUntil([this] { return !IsAlive(ReadNumber("left")); }));
}

TEST_F(LocalRunnerTest, KillsItsCommandsWhenItGoes)
{
    std::optional<LocalRunner> runner(std::in_place, m_loop, 1, k_patience, "x");
    const Command command{
        1, {"/bin/sh", "-c", "echo $$ > self; sleep 100"}, m_folder.Folder(), m_folder / "log"};
    ASSERT_TRUE(runner->Start(command, Listener(), &m_reason));
    ASSERT_TRUE(RunUntil([this] { return ReadNumber("self") > 0; }));
    runner.reset();
    EXPECT_FALSE(IsAlive(ReadNumber("self")));
    m_loop.poll();
    EXPECT_EQ(m_ended, Ended{});
}

TEST_F(LocalRunnerTest, EndsWhatAnEarlierRunLeftBehindAndNothingElse)
{
    // A grandchild in a session of its own, as one that outlived its Master.
    ASSERT_TRUE(StartScript("setsid sh -c 'echo $$ > left; exec sleep 100'"));
    ASSERT_TRUE(RunUntil([this] { return ReadNumber("left") > 0; }));
    const pid_t left = ReadNumber("left");

    LocalRunner ofAnother(m_loop, 1, k_patience, "/another/data/folder");
    ofAnother.EndLeftovers();
    EXPECT_TRUE(IsAlive(left));
    m_runner.EndLeftovers();
    EXPECT_FALSE(IsAlive(left));
    ASSERT_TRUE(RunUntilEnded());
}

TEST_F(LocalRunnerTest, PassesOverTheEndOfWhatIsNotThere)
{
    m_runner.End(42);
    EXPECT_EQ(m_runner.FreeSlots(), 2);
}

} // namespace
