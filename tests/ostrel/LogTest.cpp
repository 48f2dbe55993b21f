#include "ostrel/Log.h"

#include <algorithm>
#include <array>
#include <boost/filesystem.hpp>
#include <cstdlib>
#include <thread>

#include <gtest/gtest.h>

#include "ostrel/CallEntry.h"
#include "ostrel/FileLock.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Printing.h"
#include "tests/support/TempFolder.h"

using namespace ostrel;

namespace
{

// Runs `action` and gives what it wrote to standard error.
template <typename Action> std::string ConsoleOf(Action action)
{
    testing::internal::CaptureStderr();
    action();
    return testing::internal::GetCapturedStderr();
}

// The lines without date and time, each of which must be there.
std::string WithoutTimes(const std::string &lines)
{
    constexpr std::size_t k_time = sizeof("2026-11-20 14:03:09.123");
    std::string bare;
    for (std::size_t at = 0; at < lines.size();)
    {
        const std::size_t end = lines.find('\n', at);
        const std::string line = lines.substr(at, end - at);
        EXPECT_GT(line.size(), k_time) << line;
        EXPECT_EQ(line.substr(0, 2), "20") << line;
        bare += line.substr(std::min(k_time, line.size())) + '\n';
        at = end + 1;
    }
    return bare;
}

void LogOneOfEach()
{
    LogFatal("f");
    LogError("e");
    LogWarning("w");
    LogStatus("s");
    LogInfo("i");
    Log(k_LogTrace, "t");
}

int CountLines(const std::string &text)
{
    return int(std::count(text.begin(), text.end(), '\n'));
}

// Logs when static objects are destroyed.
struct LateLogger
{
    ~LateLogger()
    {
        LogError("from a destructor");
    }
};

class LogTest : public testing::Test
{
protected:
    ~LogTest() override
    {
        LogStart({.consoleLevel = k_LogWarning, .fileLevel = k_LogNone, .file = {}});
        LogStop();
    }

    TempFolder m_temp;
    Path m_file = m_temp / "log/ordwick.log";
};

} // namespace

TEST(LogConsole, GivesATerminalNothingToActOn)
{
    const std::string lines = ConsoleOf(
        []
        {
            LogError("a\tb\nc \x1b[2J\x7f\r \xc2\x9b"
                     "5n \xc3\xa4");
        });
    EXPECT_NE(lines.find("a\tb\nc \\x1b[2J\\x7f\\x0d \\xc2\\x9b5n \xc3\xa4"), std::string::npos)
        << lines;
}

TEST_F(LogTest, BeforeTheStartWarningsAndWorseGoToStandardError)
{
    EXPECT_EQ(WithoutTimes(ConsoleOf(LogOneOfEach)), "fatal  f\nerror  e\nwarn   w\n");
}

TEST_F(LogTest, TheConsoleGetsNothingThatATerminalWouldActOn)
{
    LogStart({.file = m_file});
    const char *const text = "a\x1b[31mb\r\x7f\xc2\x9b"
                             "c\td\xc2\xa9 é\xc2";
    EXPECT_EQ(WithoutTimes(ConsoleOf([text] { LogError(text); })),
              "error  a\\x1b[31mb\\x0d\\x7f\\xc2\\x9bc\td\xc2\xa9 é\xc2\n");
    LogStop();
    EXPECT_NE(ContentOf(m_file).find(text), std::string::npos);
}

TEST_F(LogTest, EachPlaceTakesItsOwnLevels)
{
    const struct
    {
        int level;
        const char *lines;
    } cases[] = {
        {k_LogNone, ""},
        {k_LogFatal, "fatal  f\n"},
        {k_LogWarning, "fatal  f\nerror  e\nwarn   w\n"},
        {k_LogInfo, "fatal  f\nerror  e\nwarn   w\nstatus s\ninfo   i\n"},
        {k_LogTrace, "fatal  f\nerror  e\nwarn   w\nstatus s\ninfo   i\ntrace  t\n"},
    };

    for (const auto &[level, lines] : cases)
    {
        const Path file = m_temp / std::to_string(level);
        LogStart({.consoleLevel = k_LogNone, .fileLevel = level, .file = file});
        EXPECT_EQ(ConsoleOf(LogOneOfEach), "");
        LogStop();
        EXPECT_EQ(level == k_LogNone ? "" : WithoutTimes(ContentOf(file)), lines) << level;

        LogStart({.consoleLevel = level, .fileLevel = k_LogNone, .file = {}});
        EXPECT_EQ(WithoutTimes(ConsoleOf(LogOneOfEach)), lines) << level;
    }
}

TEST_F(LogTest, IsWantedUpToTheHighestLevelOfAnyPlace)
{
    LogStart({.consoleLevel = k_LogError, .fileLevel = k_LogStatus, .file = m_file});
    EXPECT_TRUE(LogWanted(k_LogStatus));
    EXPECT_FALSE(LogWanted(k_LogInfo));
    {
        const LogCapture capture(k_LogTrace);
        EXPECT_TRUE(LogWanted(k_LogTrace));
    }
    EXPECT_FALSE(LogWanted(k_LogInfo));
    LogStop();
    EXPECT_TRUE(LogWanted(k_LogError));
    EXPECT_FALSE(LogWanted(k_LogWarning));
}

TEST_F(LogTest, LinesAreInTheFileAfterAFlush)
{
    LogStart({.consoleLevel = k_LogNone, .fileLevel = k_LogInfo, .file = m_file});
    for (int i = 0; i < 3; ++i)
    {
        LogInfo("line");
        LogFlush();
        EXPECT_EQ(CountLines(ContentOf(m_file)), i + 1);
    }
}

TEST_F(LogTest, FatalLinesAreInTheFileAtOnceWithTheCallStack)
{
    LogStart({.consoleLevel = k_LogNone, .fileLevel = k_LogInfo, .file = m_file});
    const LogCapture capture;
    const _CallEntry outer("MainWindow::OnTimer", "MainWindow.cpp", 7);
    const _CallEntry inner("MainWindow::CheckFiles", "FrameScan.cpp", 9);
    LogFatal("the end");
    EXPECT_NE(ContentOf(m_file).find("fatal  the end\n"
                                     "MainWindow::CheckFiles (FrameScan.cpp:9)\n"
                                     "MainWindow::OnTimer (MainWindow.cpp:7)\n"),
              std::string::npos)
        << ContentOf(m_file);
    EXPECT_EQ(capture.Texts(k_LogFatal), std::vector<std::string>{"the end"});
}

TEST_F(LogTest, KeepsWhatTheFileHasAndStartsAgainAfterAStop)
{
    const LogSettings settings{.consoleLevel = k_LogNone, .fileLevel = k_LogInfo, .file = m_file};
    LogStart(settings);
    LogInfo("one");
    LogStart(settings);
    LogInfo("two");
    LogStop();
    LogInfo("lost");
    LogStart(settings);
    LogInfo("three");
    LogStop();
    EXPECT_EQ(WithoutTimes(ContentOf(m_file)), "info   one\ninfo   two\ninfo   three\n");
}

TEST_F(LogTest, NoLineOfManyThreadsIsLost)
{
    LogStart({.consoleLevel = k_LogNone, .fileLevel = k_LogInfo, .file = m_file});
    const std::string text(200, 'x');
    {
        std::array<std::jthread, 4> threads;
        for (std::jthread &thread : threads)
            thread = std::jthread(
                [&]
                {
                    for (int line = 0; line < 5'000; ++line)
                        LogInfo(text);
                });
    }
    LogStop();
    EXPECT_EQ(CountLines(ContentOf(m_file)), 20'000);
}

TEST_F(LogTest, RotatesAtTenMegabytesAndKeepsThree)
{
    LogStart({.consoleLevel = k_LogNone, .fileLevel = k_LogInfo, .file = m_file});
    const std::string text(1 << 20, 'x');
    for (int i = 0; i < 55; ++i)
        LogInfo(text);
    LogStop();

    int files = 0;
    for (const auto &entry : boost::filesystem::directory_iterator(m_file.Parent().Text()))
    {
        ++files;
        EXPECT_LE(boost::filesystem::file_size(entry), 10u << 20);
    }
    EXPECT_EQ(files, 1 + 3);
}

TEST_F(LogTest, AFileThatCannotBeOpenedIsReportedAndTheProgramGoesOn)
{
    const Path impossible = m_temp.MakeFile("file") / "below.log";
    const std::string console = ConsoleOf(
        [&]
        {
            LogStart({.consoleLevel = k_LogWarning, .fileLevel = k_LogInfo, .file = impossible});
            LogInfo("nowhere");
            LogWarning("still here");
            LogFlush();
        });
    EXPECT_NE(console.find("cannot open log file " + impossible.Text()), std::string::npos);
    EXPECT_NE(console.find("still here"), std::string::npos);
    EXPECT_FALSE(LogWanted(k_LogInfo));
}

TEST_F(LogTest, AFullDiskIsReportedOnceAndTheProgramGoesOn)
{
    const std::string console = ConsoleOf(
        [&]
        {
            LogStart({.consoleLevel = k_LogWarning, .fileLevel = k_LogInfo, .file = "/dev/full"});
            for (int i = 0; i < 20'000; ++i)
                LogInfo("a line that does not fit any more");
            LogFlush();
            LogInfo("another");
            LogStop();
        });
    EXPECT_EQ(CountLines(console), 1) << console;
    EXPECT_TRUE(console.starts_with("cannot write log file /dev/full: ")) << console;
}

TEST_F(LogTest, AFileOfItsOwnIsNotSharedWithAnotherProcess)
{
    boost::filesystem::create_directory((m_temp / "log").Text());
    const auto other = FileLock::Take(m_temp / "log/.ordwick.log.lock");
    LogStart({.fileLevel = k_LogInfo, .file = m_file, .isOwnFile = true});
    LogInfo("mine");
    LogStop();
    EXPECT_FALSE(boost::filesystem::exists(m_file.Text()));
    EXPECT_EQ(WithoutTimes(ContentOf(m_temp / "log/ordwick-2.log")), "info   mine\n");
}

TEST_F(LogTest, AListenerHearsItsLevelsInOrderAndNotItsOwnLines)
{
    std::string heard;
    LogListen(k_LogStatus,
              [&](LogLevel level, std::string_view text)
              {
                  heard += std::to_string(level) + std::string(text) + ' ';
                  LogStatus("from the listener");
              });
    LogStatus("a");
    LogInfo("unheard");
    LogStatus("b");
    LogListen(k_LogNone, {});
    LogStatus("c");
    EXPECT_EQ(heard, "4a 4b ");
}

TEST_F(LogTest, AListenerThatThrowsHarmsNothing)
{
    int calls = 0;
    LogListen(k_LogStatus,
              [&](LogLevel, std::string_view)
              {
                  ++calls;
                  throw std::runtime_error("no");
              });
    EXPECT_NO_THROW(LogStatus("a"));
    EXPECT_NO_THROW(LogStatus("b"));
    LogListen(k_LogNone, {});
    EXPECT_EQ(calls, 2);
}

TEST_F(LogTest, LinesThatWaitAreWrittenWhenTheProgramJustEnds)
{
    EXPECT_EXIT(
        {
            static const LateLogger late;
            LogStart({.consoleLevel = k_LogWarning, .fileLevel = k_LogInfo, .file = m_file});
            LogInfo("waiting");
            std::exit(0);
        },
        testing::ExitedWithCode(0), "from a destructor");
    EXPECT_TRUE(WithoutTimes(ContentOf(m_file)).starts_with("info   waiting\n"));
}
