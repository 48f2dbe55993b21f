#include "corvan/PersonalMaster.h"

#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <sstream>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "ostrel/Descriptor.h"
#include "ostrel/Folders.h"
#include "tests/support/EnvironmentGuard.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TempFolder.h"

using namespace corvan;

namespace
{

class PersonalMasterTest : public testing::Test
{
protected:
    void SetUp() override
    {
        // Tests stand in a folder of their own, so what lies on the search path is what is found.
        ASSERT_NE(::access((ostrel::ProgramFolder() / "corvan-master").Text().c_str(), X_OK), 0);
        ASSERT_EQ(::mkfifo((m_folder / "fifo").Text().c_str(), 0600), 0);
    }

    void MakeMaster(const std::string &script)
    {
        const auto file = m_folder.MakeFile("bin/corvan-master", script);
        ASSERT_EQ(::chmod(file.Text().c_str(), 0700), 0);
    }

    /// What the started program writes into the fifo, to its end.
    std::string ReadFifo() const
    {
        const int fifo = ::open((m_folder / "fifo").Text().c_str(), O_RDONLY);
        std::string text;
        char bytes[4096];
        for (ssize_t count; (count = ::read(fifo, bytes, sizeof bytes)) > 0;)
            text.append(bytes, std::size_t(count));
        ::close(fifo);
        return text;
    }

    static void WaitForEnd(int process)
    {
        const ostrel::Descriptor handle(int(::syscall(SYS_pidfd_open, process, 0)));
        pollfd ended{handle.Number(), POLLIN, 0};
        // What cannot be looked at has gone already.
        EXPECT_TRUE(!handle.IsOpen() || ::poll(&ended, 1, 20'000) == 1) << "it does not end";
    }

    /// Starts a Master that does as it is told, and gives what it wrote, once it has ended.
    std::string RunMaster(const std::string &script)
    {
        MakeMaster("#!/bin/sh\n{ echo $$\n" + script + "} > \"$FIFO\"\n");
        EXPECT_TRUE(StartPersonalMaster());
        const std::string told = ReadFifo();
        WaitForEnd(std::atoi(told.c_str()));
        return told.substr(told.find('\n') + 1);
    }

    TempFolder m_folder;
    EnvironmentGuard m_path{"PATH", ("/usr/bin:/bin:" + (m_folder / "bin").Text()).c_str()};
    EnvironmentGuard m_fifo{"FIFO", (m_folder / "fifo").Text().c_str()};
};

} // namespace

TEST_F(PersonalMasterTest, RunsDetachedFromTheProgramWithNoStreamsAndNoFilesOfIt)
{
    const int inherited = ::open("/dev/null", O_RDONLY); // Without close-on-exec, as some do.
    const std::string told =
        RunMaster("echo \"$@\"; pwd; ps -o sid= -p $$; ps -o ppid= -p $$; ls /proc/$$/fd; "
                  "readlink /proc/$$/fd/0\n");
    ::close(inherited);

    std::istringstream lines(told);
    std::string arguments, folder, rest;
    long session = 0, parent = 0;
    lines >> arguments >> folder >> session >> parent;
    EXPECT_EQ(arguments, "--personal");
    EXPECT_EQ(folder, "/");
    EXPECT_NE(session, ::getsid(0));
    EXPECT_NE(parent, ::getpid());
    EXPECT_EQ(told.find("\n" + std::to_string(inherited) + "\n"), std::string::npos) << told;
    EXPECT_NE(told.find("/dev/null"), std::string::npos) << told;
}

TEST_F(PersonalMasterTest, TellsWhatItSaidOnItsWayUp)
{
    RunMaster("echo 'corvan-master: disk full' >&2\n");
    EXPECT_EQ(PersonalMasterErrors(), "corvan-master: disk full");

    // The next try says in the log why there is one.
    const LogCapture log;
    RunMaster("");
    EXPECT_EQ(log.Count(ostrel::k_LogWarning, "corvan-master: disk full"), 1);
    EXPECT_EQ(PersonalMasterErrors(), "");
}

TEST_F(PersonalMasterTest, LeavesNoProcessToWaitFor)
{
    EXPECT_EQ(RunMaster("echo done\n"), "done\n");
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

TEST_F(PersonalMasterTest, IsNotStartedAgainWhileTheOneThatWasStartedLives)
{
    ASSERT_EQ(::mkfifo((m_folder / "go").Text().c_str(), 0600), 0);
    const ostrel::Descriptor go(::open((m_folder / "go").Text().c_str(), O_RDWR));
    const EnvironmentGuard goFile("GO", (m_folder / "go").Text().c_str());
    MakeMaster("#!/bin/sh\necho $$ > \"$FIFO\"\nread line < \"$GO\"\n");
    const auto hasStarted = [](const LogCapture &log)
    { return log.Count(ostrel::k_LogStatus, "Started a personal Master") > 0; };

    for (int time = 1; time <= 2; ++time)
    {
        LogCapture log;
        EXPECT_TRUE(StartPersonalMaster());
        EXPECT_TRUE(hasStarted(log)) << "time " << time;
        const int process = std::stoi(ReadFifo());

        log.Clear();
        EXPECT_TRUE(StartPersonalMaster());
        EXPECT_FALSE(hasStarted(log)) << "time " << time;

        ASSERT_EQ(::write(go.Number(), "go\n", 3), 3);
        WaitForEnd(process);
    }
}

TEST_F(PersonalMasterTest, SaysWhenThereIsNoSuchProgram)
{
    LogCapture log;
    EXPECT_FALSE(StartPersonalMaster());
    EXPECT_EQ(log.Count(ostrel::k_LogWarning, "corvan-master is neither beside this program"), 1);
}

TEST_F(PersonalMasterTest, SaysWhenTheProgramCannotBeStarted)
{
    LogCapture log;
    MakeMaster("#!/no/such/interpreter\n");
    EXPECT_FALSE(StartPersonalMaster());
    EXPECT_EQ(log.Count(ostrel::k_LogWarning, "No such file or directory"), 1);
}

TEST_F(PersonalMasterTest, IsNotLookedForInFoldersThatDependOnWhereTheProgramRuns)
{
    LogCapture log;
    const EnvironmentGuard path("PATH", ":.:bin");
    MakeMaster("#!/bin/sh\n");
    EXPECT_FALSE(StartPersonalMaster());
}
