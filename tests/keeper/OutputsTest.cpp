#include "keeper/Outputs.h"

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/resource.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "tests/support/TempFolder.h"

using keeper::Outputs;
namespace fs = std::filesystem;

namespace
{

class OutputsTest : public ::testing::Test
{
protected:
    void Prepare(Outputs &outputs)
    {
        std::string reason;
        ASSERT_TRUE(outputs.Prepare([] { return false; }, &reason)) << reason;
    }

    std::string Name(const char *leaf) const
    {
        return (m_folder / leaf).Text();
    }

    void Write(const char *leaf, const std::string &text) const
    {
        std::ofstream(Name(leaf), std::ios::trunc) << text;
    }

    TempFolder m_folder;
    Outputs m_outputs{{Name("x.1.png"), Name("x.2.png")}, true};
};

} // namespace

TEST_F(OutputsTest, AreFineWhereEachIsThereAndNew)
{
    Prepare(m_outputs);
    Write("x.1.png", "one");
    Write("x.2.png", "two");
    EXPECT_EQ(m_outputs.FindFault(), "");
    EXPECT_EQ(m_outputs.PutBack(), "");
    EXPECT_EQ(m_folder.Listing(), "x.1.png\nx.2.png\n");
}

TEST_F(OutputsTest, HaveAFaultWhereOneIsMissingEmptyOrOld)
{
    Write("x.1.png", "old");
    Prepare(m_outputs);
    EXPECT_EQ(m_outputs.FindFault(), "it left " + Name("x.1.png") + " as it was before");
    Write("x.1.png", "new");
    EXPECT_EQ(m_outputs.FindFault(), "it wrote no " + Name("x.2.png"));
    Write("x.2.png", "");
    EXPECT_EQ(m_outputs.FindFault(), "it left " + Name("x.2.png") + " empty");
    fs::remove(Name("x.2.png"));
    fs::create_directory(Name("x.2.png"));
    EXPECT_EQ(m_outputs.FindFault(), Name("x.2.png") + " is no file");
}

TEST_F(OutputsTest, AreNewWhateverTheirClockSays)
{
    // Written with the size that it had, its time set back to that of a server that goes slow.
    Write("x.1.png", "one");
    Write("x.2.png", "two");
    struct stat before
    {
    };
    ASSERT_EQ(::stat(Name("x.1.png").c_str(), &before), 0);
    Prepare(m_outputs);
    Write("x.1.png", "eno");
    const timespec slow[] = {{1'000'000'000, 0}, {1'000'000'000, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, Name("x.1.png").c_str(), slow, 0), 0);
    // Another file of the same size and time.
    Write("x.2.new", "owt");
    const timespec same[] = {before.st_atim, before.st_mtim};
    ASSERT_EQ(::utimensat(AT_FDCWD, Name("x.2.new").c_str(), same, 0), 0);
    fs::rename(Name("x.2.new"), Name("x.2.png"));
    EXPECT_EQ(m_outputs.FindFault(), "");
}

TEST_F(OutputsTest, AreWhatTheyWereWhereTheCommandLeavesNothing)
{
    Write("x.1.png", "whole");
    Write("x.2.png", "whole too");
    ASSERT_EQ(::chmod(Name("x.2.png").c_str(), 0640), 0);
    const timespec then[] = {{1'700'000'000, 5}, {1'700'000'000, 5}};
    ASSERT_EQ(::utimensat(AT_FDCWD, Name("x.2.png").c_str(), then, 0), 0);
    Prepare(m_outputs);
    EXPECT_EQ(ContentOf(m_folder / "x.1.png"), "whole") << "the command may want to read it";

    fs::remove(Name("x.1.png"));
    Write("x.2.png", "");
    EXPECT_EQ(m_outputs.PutBack(), Name("x.1.png") + " is again what it was before\n" +
                                       Name("x.2.png") + " is again what it was before\n");
    EXPECT_EQ(ContentOf(m_folder / "x.1.png"), "whole");
    EXPECT_EQ(ContentOf(m_folder / "x.2.png"), "whole too");
    struct stat after
    {
    };
    ASSERT_EQ(::stat(Name("x.2.png").c_str(), &after), 0);
    EXPECT_EQ(after.st_mtim.tv_sec, 1'700'000'000);
    EXPECT_EQ(after.st_mode & 0777, 0640u);
    EXPECT_EQ(m_folder.Listing(), "x.1.png\nx.2.png\n");
}

TEST_F(OutputsTest, OfALinkAreThoseThatItNames)
{
    fs::create_directory(Name("real"));
    Write("real/frame", "whole");
    fs::create_symlink(Name("real/frame"), Name("x.1.png"));
    Write("x.2.png", "two");
    Prepare(m_outputs);
    Write("x.1.png", "");
    m_outputs.PutBack();
    EXPECT_TRUE(fs::is_symlink(Name("x.1.png")));
    EXPECT_EQ(ContentOf(m_folder / "real/frame"), "whole");
}

TEST_F(OutputsTest, ThatAKilledKeeperKeptArePutBackFirst)
{
    Write("x.1.png", "whole");
    Write("x.2.png", "whole too");
    Prepare(m_outputs);
    Write("x.1.png", "");
    fs::remove(Name("x.2.png"));

    Outputs next({Name("x.1.png"), Name("x.2.png")}, true);
    Prepare(next);
    EXPECT_EQ(ContentOf(m_folder / "x.1.png"), "whole");
    EXPECT_EQ(ContentOf(m_folder / "x.2.png"), "whole too");
    Write("x.1.png", "");
    next.PutBack();
    EXPECT_EQ(ContentOf(m_folder / "x.1.png"), "whole");
    EXPECT_EQ(m_folder.Listing(), "x.1.png\nx.2.png\n");
}

TEST_F(OutputsTest, AreNotTouchedOnADiskWithoutRoomToKeepThem)
{
    Write("x.1.png", std::string(100'000, 'x'));
    ::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    ::getrlimit(RLIMIT_FSIZE, &before);
    rlimit full = before;
    full.rlim_cur = 10'000;
    ::setrlimit(RLIMIT_FSIZE, &full);
    std::string reason;
    const bool isPrepared = m_outputs.Prepare([] { return false; }, &reason);
    ::setrlimit(RLIMIT_FSIZE, &before);
    ::signal(SIGXFSZ, SIG_DFL);
    EXPECT_FALSE(isPrepared);
    EXPECT_EQ(reason,
              "cannot keep " + Name("x.1.png") + " while it is rendered again: File too large");
    EXPECT_EQ(m_folder.Listing(), "x.1.png\n");
}

TEST_F(OutputsTest, AreNotKeptWhereThatIsNotWanted)
{
    Outputs outputs({Name("x.1.png")}, false);
    Write("x.1.png", "whole");
    Prepare(outputs);
    EXPECT_EQ(m_folder.Listing(), "x.1.png\n");
    Write("x.1.png", "");
    EXPECT_EQ(outputs.PutBack(), "");
    EXPECT_EQ(outputs.FindFault(), "it left " + Name("x.1.png") + " empty");
}

TEST_F(OutputsTest, GetTheirFolders)
{
    Outputs outputs({Name("a/b/x.1.png"), Name("c/x.1.png")}, true);
    Prepare(outputs);
    EXPECT_EQ(m_folder.Listing(), "a\nc\n");
    EXPECT_TRUE(fs::is_directory(Name("a/b")));

    Write("file", "");
    Outputs bad({Name("file/x.1.png")}, true);
    std::string reason;
    EXPECT_FALSE(bad.Prepare([] { return false; }, &reason));
    EXPECT_EQ(reason, "cannot make folder " + Name("file") + ": Not a directory");
}
