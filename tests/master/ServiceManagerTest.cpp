// What a Master that was started as a service tells whoever has started it.
#include "master/vitals/ServiceManager.h"

#include <csignal>

#include <gtest/gtest.h>

#include "tests/master/MasterProgram.h"
#include "tests/master/NotifySocket.h"
#include "tests/master/RawClient.h"
#include "tests/master/RunningMaster.h"
#include "tests/support/TempFolder.h"

namespace
{

using std::chrono::milliseconds;

constexpr milliseconds k_watchdog{400};

TEST(ServiceManager, IsToldOnceTheMasterAnswersAndWhenItEnds)
{
    const TempFolder folder;
    NotifySocket notices(folder.Folder());
    const std::string address = (folder / "m.sock").Text();
    MasterProgram program(folder.Folder(), {"--listen", address});

    const auto first = notices.Next();
    ASSERT_TRUE(first);
    EXPECT_EQ(*first, "READY=1\nSTATUS=corvan-master: listening on unix:" + address + ", data in " +
                          (folder / "data").Text());
    RawClient client(program.Address());
    EXPECT_TRUE(client.SayHello());

    program.Signal(SIGTERM);
    EXPECT_TRUE(notices.WaitFor("STOPPING=1"));
    EXPECT_EQ(program.WaitForEnd(), 0);
}

TEST(ServiceManager, IsToldThatTheSettingsAreReadAnewAndThatTheMasterIsReadyAgain)
{
    const TempFolder folder;
    NotifySocket notices(folder.Folder());
    MasterProgram program(folder.Folder(), {"--listen", (folder / "m.sock").Text()});
    const auto first = notices.Next();
    ASSERT_TRUE(first);
    for (int round = 0; round < 2; ++round)
    {
        const auto before = std::chrono::steady_clock::now().time_since_epoch();
        program.Signal(SIGHUP);
        const auto reloading = notices.Next();
        ASSERT_TRUE(reloading);
        const std::string start = "RELOADING=1\nMONOTONIC_USEC=";
        ASSERT_TRUE(reloading->starts_with(start)) << *reloading;
        const std::chrono::microseconds at(std::stoll(reloading->substr(start.size())));
        EXPECT_GE(at, std::chrono::duration_cast<std::chrono::microseconds>(before));
        EXPECT_LE(at, std::chrono::steady_clock::now().time_since_epoch());
        EXPECT_EQ(notices.Next(), first) << "it waits for that, and for no longer than its time";
    }
}

TEST(ServiceManager, HearsOfAMasterWithoutWorkAgainAndAgain)
{
    const TempFolder folder;
    NotifySocket notices(folder.Folder(), k_watchdog);
    const RunningMaster running(SettingsIn(folder.Folder()));
    ASSERT_EQ(running.Error(), "");
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(notices.Next(), "WATCHDOG=1") << "round " << i;
}

TEST(ServiceManager, HearsNothingOfALoopThatHangs)
{
    const TempFolder folder;
    NotifySocket notices(folder.Folder(), k_watchdog);
    RunningMaster running(SettingsIn(folder.Folder()));
    ASSERT_TRUE(notices.WaitFor("WATCHDOG=1"));
    running.OnLoop(
        [&]
        {
            notices.Forget();
            EXPECT_EQ(notices.Next(2 * k_watchdog), std::nullopt) << "while the loop stands";
        });
    EXPECT_EQ(notices.Next(), "WATCHDOG=1");
}

TEST(ServiceManager, ThatHasNoWatchdogHearsNothingOfTurns)
{
    const TempFolder folder;
    NotifySocket notices(folder.Folder());
    RunningMaster running(SettingsIn(folder.Folder()));
    RawClient client(running.Address());
    ASSERT_TRUE(client.SayHello());
    EXPECT_EQ(notices.Next(milliseconds(0)), std::nullopt);
    running.Stop();
    EXPECT_TRUE(notices.WaitFor("STOPPING=1"));
}

TEST(ServiceManager, OfAnotherProcessIsNotAnswered)
{
    const TempFolder folder;
    const NotifySocket notices(folder.Folder(), k_watchdog);
    EXPECT_EQ(master::WatchdogTime(), k_watchdog);
    const EnvironmentGuard other("WATCHDOG_PID", "1");
    EXPECT_EQ(master::WatchdogTime(), std::nullopt);
}

} // namespace
