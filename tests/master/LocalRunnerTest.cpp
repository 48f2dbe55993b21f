#include <boost/asio/steady_timer.hpp>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <sched.h>
#include <sstream>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/master/LocalRunnerFixture.h"
#include "tests/support/EnvironmentGuard.h"
#include "tests/support/MemoryLimit.h"
#include "tests/support/Printing.h"
#include "tests/support/TempFolder.h"

using ostrel::String;
using namespace std::chrono_literals;

namespace
{

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
        LocalRunner runner(loop, 1, k_patience);
        Command command;
        command.run = 1;
        command.arguments = {"/bin/sh", "-c", ":"};
        command.folder = m_folder.Folder();
        command.log = m_folder / "log";
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
        LocalRunner runner(loop, 1, k_patience);
        Command command;
        command.run = 1;
        command.arguments = {"/bin/sh", "-c", ":"};
        command.folder = m_folder.Folder();
        command.log = m_folder / "log";
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

TEST_F(LocalRunnerTest, LetsACommandHaveNoMoreFilesOpenThanItIsTo)
{
    rlimit before{};
    ::getrlimit(RLIMIT_NOFILE, &before);
    // As the Master has it.
    const rlimit raised{before.rlim_max, before.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &raised);
    const struct
    {
        std::size_t files;
        rlim_t limit;
    } cases[] = {{200, 200}, {0, before.rlim_max}, {before.rlim_max, before.rlim_max}};
    for (const auto &[files, limit] : cases)
    {
        m_ended.clear();
        LocalRunner runner(m_loop, 1, k_patience, files);
        Command command = m_command;
        command.run = m_run++;
        command.arguments = {"/bin/cat", "/proc/self/limits"};
        command.folder = m_folder.Folder();
        command.log = m_folder / "log";
        ASSERT_TRUE(runner.Start(command, Listener(), &m_reason)) << m_reason;
        ASSERT_TRUE(RunUntilEnded());
        std::istringstream lines(ContentOf(m_folder / "log"));
        rlim_t soft = 0;
        rlim_t hard = 0;
        for (std::string line; std::getline(lines, line);)
            if (line.starts_with("Max open files"))
                std::istringstream(line.substr(14)) >> soft >> hard;
        EXPECT_EQ(soft, limit) << files;
        EXPECT_EQ(hard, before.rlim_max) << "it may ask for more";
    }
    ::setrlimit(RLIMIT_NOFILE, &before);
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
        m_ended.clear();
        ASSERT_TRUE(Start({program, "x"})) << m_reason;
        ASSERT_TRUE(RunUntilEnded()) << program;
        EXPECT_FALSE(m_end.isStarted) << program;
        EXPECT_EQ(m_end.reason, reason);
        ++m_run;
    }
    EXPECT_EQ(m_runner.FreeSlots(), 2);
    EXPECT_TRUE(m_started.empty());
}

TEST_F(LocalRunnerTest, TellsThatACommandWasStartedBeforeItsEnd)
{
    ASSERT_TRUE(StartScript("while [ ! -e go ]; do sleep 0.01; done"));
    ASSERT_TRUE(RunUntil([this] { return !m_started.empty(); }));
    EXPECT_TRUE(m_ended.empty());
    m_folder.MakeFile("go");
    ASSERT_TRUE(RunUntilEnded());
    EXPECT_TRUE(m_end.IsSuccess());
}

TEST_F(LocalRunnerTest, SaysWhyThereCanBeNoLog)
{
    m_folder.MakeFolder("log");
    ASSERT_TRUE(StartScript("exit 0"));
    ASSERT_TRUE(RunUntilEnded());
    EXPECT_FALSE(m_end.isStarted);
    EXPECT_EQ(m_end.reason, "cannot write " + (m_folder / "log").Text() + ": Is a directory");
}

TEST_F(LocalRunnerTest, ACommandThatLeavesNoWholeNewFileHasFailed)
{
    const std::string file = (m_folder / "x.png").Text();
    m_command.outputs = {m_folder / "x.png"};
    const std::string fault = "it left " + file;
    const struct
    {
        const char *script;
        int exitCode;
        std::string reason;
    } cases[] = {
        {"echo frame > x.png", 0, ""},
        {"exit 0", 0, fault + " as it was before"},
        {": > x.png", 0, fault + " empty"},
        {": > x.part; mv x.part x.png", 0, fault + " empty"},
        {"rm x.png", 0, "it wrote no " + file},
        {": > x.png; exit 7", 7, ""},
        {": > x.png; kill -9 $$", -1, ""},
        {"echo newer > x.png", 0, ""},
    };
    std::string content;
    for (const auto &[script, exitCode, reason] : cases)
    {
        m_ended.clear();
        ASSERT_TRUE(StartScript(script)) << m_reason;
        ASSERT_TRUE(RunUntilEnded());
        EXPECT_EQ(m_end, (master::RunEnd{.exitCode = exitCode, .reason = reason})) << script;
        if (m_end.IsSuccess())
            content = ContentOf(m_folder / "x.png");
        EXPECT_EQ(ContentOf(m_folder / "x.png"), content) << script;
        EXPECT_EQ(m_folder.Listing(), "log\nx.png\n") << script;
        const bool isTold = ContentOf(m_folder / "log").starts_with("corvan-task: " + reason);
        EXPECT_TRUE(isTold || reason.empty()) << script;
        ++m_run;
    }
    EXPECT_EQ(content, "newer\n");
}

TEST_F(LocalRunnerTest, ACancelledCommandLeavesTheOldFrameWhereItHasWrittenNothing)
{
    m_folder.MakeFile("x.png", "whole");
    m_command.outputs = {m_folder / "x.png"};
    ASSERT_TRUE(StartScript(": > x.png; echo > begun; exec sleep 100"));
    ASSERT_TRUE(RunUntil([this] { return ContentOf(m_folder / "x.png").empty(); }));
    m_runner.End(1);
    ASSERT_TRUE(RunUntilEnded());
    EXPECT_EQ(ContentOf(m_folder / "x.png"), "whole");
}

TEST_F(LocalRunnerTest, MakesTheFoldersOfWhatACommandWrites)
{
    m_command.places = {m_folder / "a/b/x.png"};
    m_command.outputs = {m_folder / "c/x.png"};
    ASSERT_TRUE(StartScript("echo > a/b/x.png; echo > c/x.png"));
    ASSERT_TRUE(RunUntilEnded());
    EXPECT_TRUE(m_end.IsSuccess()) << m_end.reason;

    m_ended.clear();
    ++m_run;
    m_folder.MakeFile("file");
    m_command.places = {m_folder / "file/x.png"};
    ASSERT_TRUE(StartScript("exit 0"));
    ASSERT_TRUE(RunUntilEnded());
    EXPECT_FALSE(m_end.isStarted);
    EXPECT_EQ(m_end.reason,
              "cannot make folder " + (m_folder / "file").Text() + ": Not a directory");
}

TEST_F(LocalRunnerTest, StartsNoCommandWithAPathThatLeadsOutOfItsRoots)
{
    namespace fs = std::filesystem;
    const std::string in = m_folder.MakeFolder("in").Text(),
                      out = m_folder.MakeFolder("out").Text();
    fs::create_symlink(out, in + "/away");
    const struct
    {
        std::vector<keeper::RootedPath> rooted;
        std::vector<ostrel::Path> places;
        std::vector<ostrel::Path> outputs;
        std::string outside; // What leads out.
    } cases[] = {
        {{{"Scene", in + "/s", {in}}, {"Lut", "in/l", {in}}}, {in + "/p/x"}, {in + "/x"}, ""},
        {{{"Scene", in + "/away/s", {in}}}, {}, {}, "Scene " + in + "/away/s"},
        {{{"Scene", "out/s", {in}}}, {}, {}, "Scene " + m_folder.Folder().Text() + "/out/s"},
        {{}, {in + "/away/new/x"}, {}, "ImageFormat " + in + "/away/new/x"},
        {{}, {in + "/x"}, {in + "/x", in + "/away/x"}, "ImageFormat " + in + "/away/x"},
    };
    for (const auto &[rooted, places, outputs, outside] : cases)
    {
        m_ended.clear();
        m_command.rooted = rooted;
        m_command.outputRoots = {in};
        m_command.places = places;
        m_command.outputs = outputs;
        ASSERT_TRUE(StartScript("echo > in/x; echo > ran")) << m_reason;
        ASSERT_TRUE(RunUntilEnded()) << outside;
        EXPECT_EQ(m_end.leadsOut, !outside.empty()) << m_end.reason;
        EXPECT_EQ(m_end.isStarted, outside.empty()) << m_end.reason;
        EXPECT_EQ(fs::remove((m_folder / "ran").Text().c_str()), outside.empty());
        EXPECT_EQ(m_end.reason.find(outside.empty() ? "" : outside + " leads to " + out), 0u)
            << m_end.reason;
        ++m_run;
    }
    EXPECT_TRUE(fs::is_empty(out)) << "not even a folder";
}

TEST_F(LocalRunnerTest, StartsNoCommandWhereNobodyKnowsWhereAPathLeads)
{
    std::filesystem::create_symlink("round", (m_folder / "round").Text().c_str());
    m_command.rooted = {{"Scene", (m_folder / "round").Text(), {"/"}}};
    ASSERT_TRUE(StartScript("exit 0"));
    ASSERT_TRUE(RunUntilEnded());
    EXPECT_FALSE(m_end.isStarted);
    EXPECT_FALSE(m_end.leadsOut) << "it may be found the next time";
}

TEST_F(LocalRunnerTest, AProgramThatIsMissingCannotBeStartedAlsoWherePathsHaveRoots)
{
    m_command.rooted = {{"Scene", (m_folder / "s").Text(), {m_folder.Folder().Text()}}};
    m_command.outputRoots = {m_folder.Folder().Text()};
    ASSERT_TRUE(Start({"no-such-program-anywhere"}));
    ASSERT_TRUE(RunUntilEnded());
    EXPECT_EQ(m_end,
              (master::RunEnd{.isStarted = false,
                              .reason = "no program no-such-program-anywhere in the search path"}));
}

TEST_F(LocalRunnerTest, EndsACommandThatExceedsALimit)
{
    const struct
    {
        corvan::RunLimits limits;
        const char *script;
        const char *reason;
    } cases[] = {
        {{.seconds = 1}, "sleep 100", "it took longer than 1 seconds"},
        {{.memoryMb = 40},
         "(head -c 200000000 /dev/zero; exec sleep 100) | tail -n 1",
         "it took more memory than 40 MiB"},
        {{.processes = 5},
         "for i in 1 2 3 4 5 6 7 8; do setsid sleep 100 & done; wait",
         "it had more than 5 processes"},
    };
    for (const auto &[limits, script, reason] : cases)
    {
        m_ended.clear();
        m_command.limits = limits;
        ASSERT_TRUE(StartScript(script)) << m_reason;
        ASSERT_TRUE(RunUntilEnded()) << script;
        EXPECT_EQ(m_end.reason, reason);
        EXPECT_FALSE(m_end.IsSuccess());
        EXPECT_TRUE(m_end.isStarted);
        EXPECT_TRUE(ContentOf(m_folder / "log").ends_with("corvan-task: " + m_end.reason + "\n"));
        ++m_run;
    }
}

TEST_F(LocalRunnerTest, LetsACommandBeWithinItsLimits)
{
    m_command.limits = {.seconds = 60, .memoryMb = 500, .processes = 20, .logMb = 1, .nice = 7};
    ASSERT_TRUE(StartScript("nice; yes | head -c 20000000; echo end"));
    ASSERT_TRUE(RunUntilEnded());
    EXPECT_TRUE(m_end.IsSuccess()) << m_end.reason;
    const std::string log = ContentOf(m_folder / "log");
    EXPECT_LE(log.size(), 1u << 20);
    EXPECT_TRUE(log.starts_with("7\ny\ny\n"));
    EXPECT_TRUE(log.ends_with("y\nend\n"));
}

TEST_F(LocalRunnerTest, BindsEachCommandToProcessorsOfItsOwn)
{
    cpu_set_t all;
    ASSERT_EQ(::sched_getaffinity(0, sizeof all, &all), 0);
    if (CPU_COUNT(&all) < 2)
        GTEST_SKIP() << "this machine has one processor";
    const auto run = [this](unsigned processors)
    {
        m_ended.clear();
        m_command.limits.processors = processors;
        ++m_run;
        EXPECT_TRUE(StartScript("sed -n 's/^Cpus_allowed_list:.//p' /proc/self/status"));
        EXPECT_TRUE(RunUntilEnded());
        return ContentOf(m_folder / "log");
    };
    const std::string free = run(0);
    const std::string first = run(1);
    EXPECT_NE(first, free);
    EXPECT_EQ(first.find_first_not_of("0123456789\n"), std::string::npos) << first;
    EXPECT_EQ(run(1), first) << "the slot is free again";
    EXPECT_EQ(run(unsigned(CPU_COUNT(&all)) + 1), free);

    // Another has the first slot meanwhile.
    m_command.limits.processors = 0;
    const int other = ++m_run;
    ASSERT_TRUE(StartScript("while [ ! -e go ]; do sleep 0.01; done"));
    const std::string second = run(1);
    EXPECT_NE(second, first);
    EXPECT_NE(second, free);
    m_ended.clear();
    m_folder.MakeFile("go");
    ASSERT_TRUE(RunUntilEnded());
    EXPECT_EQ(m_ended.front().first, other);
}

TEST_F(LocalRunnerTest, KeepsTheMastersEnvironmentFromItsCommands)
{
    const EnvironmentGuard secret("CORVAN_SECRET", "sesame"), colours("OCIO", "/aces"),
        more("OCIO_VIEW", "film"), language("LC_ALL", "C.UTF-8");
    m_command.passEnvironment = {"OCIO*"};
    ASSERT_TRUE(StartScript("env; exit 0"));
    ASSERT_TRUE(RunUntilEnded());
    const std::string log = ContentOf(m_folder / "log");
    EXPECT_EQ(log.find("sesame"), std::string::npos) << log;
    for (const char *setting : {"OCIO=/aces\n", "OCIO_VIEW=film\n", "LC_ALL=C.UTF-8\n", "PATH="})
        EXPECT_NE(log.find(setting), std::string::npos) << setting;
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

TEST_F(LocalRunnerTest, EndsWhateverACommandStartedHoweverItDetached)
{
    // Ended by itself, when it is asked to, and with the runner.
    for (const bool isEnded : {false, true})
    {
        m_ended.clear();
        ASSERT_TRUE(StartScript(std::string(k_detached) + "echo > ready; " +
                                (isEnded ? "exec sleep 100" : "exit 0")));
        if (isEnded)
        {
            ASSERT_TRUE(RunUntil(
                [this] { return std::filesystem::exists((m_folder / "ready").Text().c_str()); }));
            m_runner.End(m_run);
        }
        ASSERT_TRUE(RunUntilEnded());
        for (const char *leaf : {"session", "daemon", "stopped"})
        {
            EXPECT_GT(ReadNumber(leaf), 0);
            EXPECT_FALSE(IsAlive(ReadNumber(leaf))) << leaf;
            std::filesystem::remove((m_folder / leaf).Text().c_str());
        }
        std::filesystem::remove((m_folder / "ready").Text().c_str());
        ++m_run;
    }
}

TEST_F(LocalRunnerTest, KillsWhatACommandLeavesBehind)
{
    ASSERT_TRUE(StartScript("sleep 100 & echo $! > left; exit 0"));
    ASSERT_TRUE(RunUntilEnded());
    EXPECT_EQ(m_ended, (Ended{{1, 0}}));
    EXPECT_FALSE(IsAlive(ReadNumber("left")));
}

TEST_F(LocalRunnerTest, KillsItsCommandsWhenItGoes)
{
    std::optional<LocalRunner> runner(std::in_place, m_loop, 1, k_patience);
    Command command;
    command.run = 1;
    command.arguments = {"/bin/sh", "-c", std::string(k_detached) + "echo $$ > self; sleep 100"};
    command.folder = m_folder.Folder();
    command.log = m_folder / "log";
    ASSERT_TRUE(runner->Start(command, Listener(), &m_reason));
    ASSERT_TRUE(RunUntil([this] { return ReadNumber("self") > 0; }));
    runner.reset();
    for (const char *leaf : {"self", "session", "daemon", "stopped"})
        EXPECT_FALSE(IsAlive(ReadNumber(leaf))) << leaf;
    m_loop.poll();
    EXPECT_EQ(m_ended, Ended{});
}

TEST_F(LocalRunnerTest, ACommandThatLostItsKeeperIsOverWhenAllThatItStartedIsGone)
{
    // Another goes on meanwhile, with what it has detached.
    ASSERT_TRUE(StartScript("setsid env -i sleep 100 & echo $! > other; echo > begun; "
                            "while [ ! -e go ]; do sleep 0.01; done; rm other"));
    ASSERT_TRUE(RunUntil([this] { return ReadNumber("other") > 0; }));
    const pid_t other = ReadNumber("other");
    ++m_run;
    ASSERT_TRUE(StartScript(std::string(k_detached) + "echo $$ > self; echo $PPID > keeper; wait"));
    ASSERT_TRUE(RunUntil([this] { return ReadNumber("keeper") > 0; }));
    EXPECT_EQ(m_runner.FreeSlots(), 0);
    ::kill(ReadNumber("keeper"), SIGKILL);
    ASSERT_TRUE(RunUntilEnded());
    EXPECT_EQ(m_ended.front().first, 2);
    EXPECT_FALSE(m_end.isStarted);
    EXPECT_EQ(m_end.reason, "corvan-task was ended by signal 9");
    EXPECT_EQ(m_runner.FreeSlots(), 1);
    for (const char *leaf : {"self", "session", "daemon", "stopped"})
    {
        EXPECT_GT(ReadNumber(leaf), 0);
        EXPECT_FALSE(IsAlive(ReadNumber(leaf))) << leaf;
    }
    EXPECT_TRUE(IsAlive(other));

    m_ended.clear();
    m_folder.MakeFile("go");
    ASSERT_TRUE(RunUntilEnded());
    EXPECT_TRUE(m_end.IsSuccess()) << m_end.reason;
    EXPECT_FALSE(IsAlive(other));
}

TEST_F(LocalRunnerTest, EndsWhatLostItsKeeperWhenItGoes)
{
    std::optional<LocalRunner> runner(std::in_place, m_loop, 1, k_patience);
    Command command;
    command.run = 1;
    command.arguments = {"/bin/sh", "-c", std::string(k_detached) + "echo $PPID > keeper; wait"};
    command.folder = m_folder.Folder();
    command.log = m_folder / "log";
    ASSERT_TRUE(runner->Start(command, Listener(), &m_reason));
    ASSERT_TRUE(RunUntil([this] { return ReadNumber("keeper") > 0; }));
    ::kill(ReadNumber("keeper"), SIGKILL);
    runner.reset();
    for (const char *leaf : {"session", "daemon", "stopped"})
        EXPECT_FALSE(IsAlive(ReadNumber(leaf))) << leaf;
}

TEST_F(LocalRunnerTest, StartsNothingBeforeTheCommandsOfAnEarlierRunAreGone)
{
    const ostrel::UID master(true);
    std::optional<LocalRunner> earlier(std::in_place, m_loop, 2, k_patience);
    earlier->Begin(master, [] {});
    ASSERT_TRUE(RunUntil([&] { return earlier->FreeSlots() == 2; }));
    Command command;
    command.run = 1;
    command.arguments = {"/bin/sh", "-c", "env -i sleep 100 & echo $! > left; wait"};
    command.folder = m_folder.Folder();
    command.log = m_folder / "log";
    ASSERT_TRUE(earlier->Start(command, Listener(), &m_reason)) << m_reason;
    ASSERT_TRUE(RunUntil([this] { return ReadNumber("left") > 0; }));

    LocalRunner ofAnother(m_loop, 1, k_patience);
    bool isAlone = false;
    ofAnother.Begin(ostrel::UID(true), [&] { isAlone = true; });
    EXPECT_EQ(ofAnother.FreeSlots(), 0);
    ASSERT_TRUE(RunUntil([&] { return isAlone; }));
    EXPECT_EQ(ofAnother.FreeSlots(), 1);

    isAlone = false;
    m_runner.Begin(master, [&] { isAlone = true; });
    for (int round = 0; round < 10; ++round)
        m_loop.run_one_for(20ms);
    EXPECT_FALSE(isAlone);
    EXPECT_EQ(m_runner.FreeSlots(), 0);
    EXPECT_TRUE(IsAlive(ReadNumber("left")));
    earlier.reset();
    ASSERT_TRUE(RunUntil([&] { return isAlone; }));
    EXPECT_FALSE(IsAlive(ReadNumber("left")));
    EXPECT_EQ(m_runner.FreeSlots(), 2);
}

TEST_F(LocalRunnerTest, EndsWhatHasLostItsKeeperAndNothingElse)
{
    const ostrel::UID master(true);
    const std::string left = "cd " + m_folder.Folder().Text() + "; setsid env CORVAN_TASK_OF=";
    ASSERT_EQ(std::system((left + master.ToString() + " sh -c 'echo $$ > ours; exec sleep 100' &" +
                           " setsid env CORVAN_TASK_OF=" + ostrel::UID(true).ToString() +
                           " sh -c 'echo $$ > other; exec sleep 100' &")
                              .c_str()),
              0);
    ASSERT_TRUE(RunUntil([this] { return ReadNumber("ours") > 0 && ReadNumber("other") > 0; }));
    bool isAlone = false;
    m_runner.Begin(master, [&] { isAlone = true; });
    ASSERT_TRUE(RunUntil([&] { return isAlone; }));
    EXPECT_FALSE(IsAlive(ReadNumber("ours")));
    EXPECT_TRUE(IsAlive(ReadNumber("other")));
    ::kill(ReadNumber("other"), SIGKILL);
}

// A process that has closed its files and does not go: whoever traces it has not let it.
class HeldProcess
{
public:
    explicit HeldProcess(pid_t process)
    {
        int ends[2];
        if (::pipe(ends) != 0)
            return;
        m_tracer = ::fork();
        if (m_tracer == 0)
        {
            // No test waits for it longer.
            ::alarm(60);
            const char isHeld = ::ptrace(PTRACE_SEIZE, process, nullptr, nullptr) == 0;
            if (::write(ends[1], &isHeld, 1) == 1)
                ::pause();
            ::_exit(0);
        }
        char isHeld = 0;
        m_isHeld = ::read(ends[0], &isHeld, 1) == 1 && isHeld != 0;
        ::close(ends[0]);
        ::close(ends[1]);
    }
    ~HeldProcess()
    {
        LetGo();
    }
    HeldProcess(const HeldProcess &) = delete;
    HeldProcess &operator=(const HeldProcess &) = delete;

    bool IsHeld() const
    {
        return m_isHeld;
    }

    void LetGo()
    {
        if (m_tracer <= 0)
            return;
        ::kill(m_tracer, SIGKILL);
        ::waitpid(m_tracer, nullptr, 0);
        m_tracer = -1;
    }

private:
    pid_t m_tracer = -1;
    bool m_isHeld = false;
};

TEST_F(LocalRunnerTest, GoesOnWhileAKeeperTakesItsTimeToEnd)
{
    ASSERT_TRUE(StartScript("echo $PPID > keeper; while [ ! -e go ]; do sleep 0.01; done"));
    ASSERT_TRUE(RunUntil([this] { return ReadNumber("keeper") > 0; }));
    HeldProcess keeper(ReadNumber("keeper"));
    if (!keeper.IsHeld())
        GTEST_SKIP() << "this system lets nobody trace a process that is not its child";

    m_folder.MakeFile("go");
    ASSERT_TRUE(RunUntil([this] { return !IsAlive(ReadNumber("keeper")); }));
    int rounds = 0;
    boost::asio::steady_timer timer(m_loop);
    const std::function<void()> turn = [&]
    {
        timer.expires_after(10ms);
        timer.async_wait(
            [&](const boost::system::error_code &error)
            {
                if (!error && ++rounds < 30)
                    turn();
            });
    };
    turn();
    ASSERT_TRUE(RunUntil([&] { return rounds == 30; }));
    EXPECT_TRUE(m_ended.empty());
    EXPECT_EQ(m_runner.FreeSlots(), 1) << "it is there yet";

    keeper.LetGo();
    ASSERT_TRUE(RunUntilEnded());
    EXPECT_EQ(m_ended, (Ended{{m_run, 0}}));
}

TEST_F(LocalRunnerTest, PassesOverTheEndOfWhatIsNotThere)
{
    m_runner.End(42);
    EXPECT_EQ(m_runner.FreeSlots(), 2);
}

} // namespace
