#include "keeper/Group.h"

#include <cerrno>
#include <filesystem>

#include <gtest/gtest.h>

#include "tests/support/TempFolder.h"

TEST(Group, TellsWhetherItHadTooMuchMemory)
{
    const std::pair<const char *, bool> cases[] = {
        {"low 0\nhigh 0\nmax 7\noom 1\noom_kill 2\noom_group_kill 1\n", true},
        {"low 0\nhigh 0\nmax 7\noom 1\noom_kill 0\noom_group_kill 0\n", false},
        {"low 3\n", false},
        {"", false},
    };
    const TempFolder folder;
    for (const auto &[events, hadTooMuch] : cases)
    {
        folder.MakeFile("memory.events", events);
        EXPECT_EQ(keeper::Group(folder.Folder().Text()).HadTooMuchMemory(), hadTooMuch) << events;
    }
    EXPECT_FALSE(keeper::Group((folder / "none").Text()).HadTooMuchMemory());
    EXPECT_FALSE(keeper::Group("").HadTooMuchMemory());
}

TEST(Group, IsKilledWhereThereIsOne)
{
    const TempFolder folder;
    EXPECT_TRUE(keeper::KillGroup(folder.Folder().Text()));
    EXPECT_EQ(ContentOf(folder / "cgroup.kill"), "1");
    EXPECT_FALSE(keeper::KillGroup((folder / "none").Text()));
    EXPECT_FALSE(keeper::KillGroup(""));
}

TEST(Group, IsJoinedWhereThereIsOne)
{
    const TempFolder folder;
    folder.MakeFile("cgroup.procs", "");
    EXPECT_TRUE(keeper::Group(folder.Folder().Text()).Join());
    EXPECT_EQ(ContentOf(folder / "cgroup.procs"), "0");
    EXPECT_TRUE(keeper::Group("").Join());
    EXPECT_FALSE(keeper::Group((folder / "none").Text()).Join());
    EXPECT_EQ(errno, ENOENT);
}

// It is opened by who may, and used by who may not any more.
TEST(Group, IsUsedByWhatWasOpenedAtItsBeginning)
{
    const TempFolder folder;
    folder.MakeFile("cgroup.procs", "");
    const keeper::Group group(folder.Folder().Text());
    std::filesystem::rename((folder / "cgroup.procs").Text().c_str(),
                            (folder / "procs").Text().c_str());
    std::filesystem::rename((folder / "cgroup.kill").Text().c_str(),
                            (folder / "kill").Text().c_str());
    EXPECT_TRUE(group.Join());
    EXPECT_TRUE(group.Kill());
    EXPECT_EQ(ContentOf(folder / "procs"), "0");
    EXPECT_EQ(ContentOf(folder / "kill"), "1");
}
