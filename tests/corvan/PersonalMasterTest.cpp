#include "corvan/PersonalMaster.h"

#include <cerrno>
#include <fcntl.h>
#include <sstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

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

    TempFolder m_folder;
    EnvironmentGuard m_path{"PATH", ("/usr/bin:/bin:" + (m_folder / "bin").Text()).c_str()};
};

} // namespace

TEST_F(PersonalMasterTest, RunsDetachedFromTheProgramWithNoStreamsAndNoFilesOfIt)
{
    const EnvironmentGuard fifo("FIFO", (m_folder / "fifo").Text().c_str());
    MakeMaster("#!/bin/sh\n"
               "{ echo \"$@\"; pwd; ps -o sid= -p $$; ps -o ppid= -p $$; ls /proc/$$/fd; "
               "readlink /proc/$$/fd/0; } > \"$FIFO\"\n");
    const int inherited = ::open("/dev/null", O_RDONLY); // Without close-on-exec, as some do.
    EXPECT_TRUE(StartPersonalMaster());
    const std::string told = ReadFifo();
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
    const EnvironmentGuard fifo("FIFO", (m_folder / "fifo").Text().c_str());
    MakeMaster("#!/bin/sh\necho 'corvan-master: disk full' >&2\necho done > \"$FIFO\"\n");
    EXPECT_TRUE(StartPersonalMaster());
    ReadFifo();
    EXPECT_EQ(PersonalMasterErrors(), "corvan-master: disk full");

    // The next try says in the log why there is one.
    MakeMaster("#!/bin/sh\necho done > \"$FIFO\"\n");
    const LogCapture log;
    EXPECT_TRUE(StartPersonalMaster());
    ReadFifo();
    EXPECT_EQ(log.Count(ostrel::k_LogWarning, "corvan-master: disk full"), 1);
    EXPECT_EQ(PersonalMasterErrors(), "");
}

TEST_F(PersonalMasterTest, LeavesNoProcessToWaitFor)
{
    const EnvironmentGuard fifo("FIFO", (m_folder / "fifo").Text().c_str());
    MakeMaster("#!/bin/sh\necho done > \"$FIFO\"\n");
    EXPECT_TRUE(StartPersonalMaster());
    EXPECT_EQ(ReadFifo(), "done\n");
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
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
