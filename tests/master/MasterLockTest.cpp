#include "master/MasterLock.h"

#include <optional>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "tests/support/TempFolder.h"
#include "tests/support/Thrown.h"

using master::MasterLock;

TEST(MasterLock, IsHeldByOne)
{
    const TempFolder folder;
    std::optional<MasterLock> first(std::in_place, folder / "lock", "data folder X");
    EXPECT_EQ(Thrown([&] { MasterLock second(folder / "lock", "data folder X"); }),
              "another Master uses data folder X");

    first.reset();
    EXPECT_EQ(Thrown([&] { MasterLock second(folder / "lock", "data folder X"); }),
              "(nothing thrown)");
}

TEST(MasterLock, SaysWhyItCannotBeHad)
{
    const TempFolder folder;
    EXPECT_EQ(Thrown([&] { MasterLock lock(folder / "none/lock", "data folder X"); }),
              "cannot open lock file " + (folder / "none/lock").Text() +
                  ": No such file or directory");
}

TEST(MasterLock, PrivateFoldersAreTheUsersAlone)
{
    const TempFolder folder;
    master::MakePrivateFolder(folder / "a/b");
    master::MakePrivateFolder(folder / "a/b");
    struct stat found
    {
    };
    ASSERT_EQ(::stat((folder / "a/b").Text().c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 07777, 0700u);

    folder.MakeFile("file");
    EXPECT_EQ(Thrown([&] { master::MakePrivateFolder(folder / "file/x"); }),
              "cannot make folder " + (folder / "file/x").Text() + ": Not a directory");
}
