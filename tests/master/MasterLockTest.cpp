#include "master/door/MasterLock.h"

#include <optional>

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
