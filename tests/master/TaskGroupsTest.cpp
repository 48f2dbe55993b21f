#include "master/run/TaskGroups.h"

#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "tests/support/LogCapture.h"
#include "tests/support/Printing.h"
#include "tests/support/TempFolder.h"

using master::TaskGroups;
using ostrel::Path;
using ostrel::UID;

namespace
{

namespace fs = std::filesystem;

TEST(TaskGroups, AreWhereTheSystemTells)
{
    const std::string usual =
        "23 28 0:21 / /proc rw,nosuid - proc proc rw\n"
        "30 23 0:26 / /sys/fs/cgroup rw,nosuid shared:9 - cgroup2 cgroup2 rw,nsdelegate\n";
    const std::string both =
        "31 23 0:27 / /sys/fs/cgroup/memory rw - cgroup cgroup rw,memory\n"
        "32 23 0:28 / /sys/fs/cgroup/unified rw,relatime shared:3 - cgroup2 cgroup2 rw\n";
    const std::string part = "30 23 0:26 /machine/a /groups rw - cgroup2 cgroup2 rw\n";
    const struct
    {
        const char *cgroup;
        std::string mountinfo;
        std::optional<Path> folder;
    } cases[] = {
        {"0::/system.slice/corvan.service\n", usual, "/sys/fs/cgroup/system.slice/corvan.service"},
        {"0::/\n", usual, "/sys/fs/cgroup"},
        {"4:memory:/x\n1:name=systemd:/y\n0::/z\n", both, "/sys/fs/cgroup/unified/z"},
        {"0::/machine/a/b c\n", part, "/groups/b c"},
        {"0::/machine/a\n", part, "/groups"},
        {"0::/machine/ab\n", part, std::nullopt},
        {"4:memory:/x\n", both, std::nullopt},
        {"0::/x\n", "31 23 0:27 / /sys/fs/cgroup/memory rw - cgroup cgroup rw\n", std::nullopt},
        {"", "", std::nullopt},
    };
    for (const auto &[cgroup, mountinfo, folder] : cases)
        EXPECT_EQ(TaskGroups::FolderOf(cgroup, mountinfo), folder) << cgroup;
}

// A folder that is made to look like a group: what is written stays to be read.
class FakeGroup : public ::testing::Test
{
protected:
    Path Make(TaskGroups &groups, const corvan::RunLimits &limits = {})
    {
        const std::optional<Path> group = groups.Make(limits);
        EXPECT_TRUE(group);
        return group.value_or(Path());
    }

    static bool Exists(const Path &path)
    {
        return fs::exists(path.Text().c_str());
    }

    TempFolder m_folder;
    UID m_master{true};
};

TEST_F(FakeGroup, HandsMemoryOnOnceTheMasterHasLeftIt)
{
    m_folder.MakeFile("cgroup.controllers", "cpuset memory pids\n");
    TaskGroups groups(m_folder.Folder(), m_master);
    EXPECT_EQ(ContentOf(m_folder / "master/cgroup.procs"), "0");
    EXPECT_EQ(ContentOf(m_folder / "cgroup.subtree_control"), "+memory");
    const Path limited = Make(groups, {.memoryMb = 5}), free = Make(groups);
    EXPECT_FALSE(limited == free);
    EXPECT_EQ(ContentOf(limited / "memory.max"), "5242880");
    EXPECT_EQ(ContentOf(limited / "memory.oom.group"), "1");
    EXPECT_TRUE(fs::is_empty(free.Text().c_str()));
}

TEST_F(FakeGroup, HandsProcessorsOn)
{
    m_folder.MakeFile("cgroup.controllers", "cpuset cpu pids\n");
    TaskGroups groups(m_folder.Folder(), m_master);
    EXPECT_TRUE(groups.LimitsProcessors());
    EXPECT_EQ(ContentOf(m_folder / "cgroup.subtree_control"), "+cpu");
    const Path limited = Make(groups, {.memoryMb = 5, .processors = 3}), free = Make(groups);
    EXPECT_EQ(ContentOf(limited / "cpu.max"), "300000 100000");
    EXPECT_FALSE(Exists(limited / "memory.max"));
    EXPECT_TRUE(fs::is_empty(free.Text().c_str()));
}

TEST_F(FakeGroup, LimitsNothingWhereItHasNothingToHandOn)
{
    m_folder.MakeFile("cgroup.controllers", "cpuset pids\n");
    TaskGroups groups(m_folder.Folder(), m_master);
    EXPECT_TRUE(fs::is_empty(Make(groups, {.memoryMb = 5, .processors = 2}).Text().c_str()));
    EXPECT_FALSE(groups.LimitsProcessors());
    EXPECT_FALSE(Exists(m_folder / "cgroup.subtree_control"));
}

TEST_F(FakeGroup, GoesOnWithoutOneThatCannotBeMade)
{
    const LogCapture log;
    TaskGroups groups(m_folder.Folder() / "none", m_master);
    EXPECT_EQ(groups.Make({}), std::nullopt);
    const std::string told = "cannot make control group " + (m_folder / "none/task.").Text();
    EXPECT_EQ(log.Count(ostrel::k_LogWarning, told), 1);
}

TEST_F(FakeGroup, IsKilledAndRemovedOnceItIsEmpty)
{
    TaskGroups groups(m_folder.Folder(), m_master);
    const Path first = Make(groups), second = Make(groups);
    TaskGroups::Kill(first);
    EXPECT_EQ(ContentOf(first / "cgroup.kill"), "1");
    groups.Remove(first);
    EXPECT_TRUE(Exists(first)) << "something is in it";
    fs::remove((first / "cgroup.kill").Text().c_str());
    groups.Remove(second);
    EXPECT_FALSE(Exists(second));
    EXPECT_FALSE(Exists(first));
}

TEST_F(FakeGroup, OfAnEarlierRunIsKilledAndThatOfAnotherMasterIsNot)
{
    TaskGroups earlier(m_folder.Folder(), m_master), others(m_folder.Folder(), UID(true));
    const Path left = Make(earlier), other = Make(others);
    std::ofstream((left / "cgroup.procs").Text()) << "7\n";
    TaskGroups groups(m_folder.Folder(), m_master);
    EXPECT_FALSE(groups.KillEarlier());
    EXPECT_EQ(ContentOf(left / "cgroup.kill"), "1");
    for (const char *file : {"cgroup.kill", "cgroup.procs"})
        fs::remove((left / file).Text().c_str());
    EXPECT_TRUE(groups.KillEarlier());
    EXPECT_FALSE(Exists(left));
    EXPECT_TRUE(fs::is_empty(other.Text().c_str()));
}

} // namespace
