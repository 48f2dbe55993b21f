#include "keeper/Group.h"

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
        EXPECT_EQ(keeper::HadTooMuchMemory(folder.Folder().Text()), hadTooMuch) << events;
    }
    EXPECT_FALSE(keeper::HadTooMuchMemory((folder / "none").Text()));
    EXPECT_FALSE(keeper::HadTooMuchMemory(""));
}

TEST(Group, IsKilledWhereThereIsOne)
{
    const TempFolder folder;
    EXPECT_TRUE(keeper::KillGroup(folder.Folder().Text()));
    EXPECT_EQ(ContentOf(folder / "cgroup.kill"), "1");
    EXPECT_FALSE(keeper::KillGroup((folder / "none").Text()));
    EXPECT_FALSE(keeper::KillGroup(""));
}
