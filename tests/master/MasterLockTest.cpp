#include "master/door/MasterLock.h"

#include <chrono>
#include <optional>
#include <thread>

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

TEST(MasterLock, IsHadWhereAKilledMasterHasItForAMomentStill)
{
    const TempFolder folder;
    std::optional<MasterLock> first(std::in_place, folder / "lock", "data folder X");
    const std::jthread end(
        [&]
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            first.reset();
        });
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
