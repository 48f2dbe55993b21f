#include "master/watch/TimeLeft.h"

#include <gtest/gtest.h>

namespace master
{
namespace
{

FrameTimes TenSeconds(unsigned tasks = 100)
{
    FrameTimes times;
    for (unsigned i = 0; i < tasks; ++i)
        times.Add(10);
    return times;
}

TEST(TimeLeft, IsTheWorkOverTheSlotsThatTheJobHas)
{
    const struct
    {
        const char *what;
        WorkLeft left;
        double seconds;
    } cases[] = {
        {"one slot", {.queuedTasks = 9, .running = {{0, 1}}, .slots = 1}, 100},
        {"two slots", {.queuedTasks = 8, .running = {{0, 1}, {0, 1}}, .slots = 2}, 50},
        {"half a slot, since others go first",
         {.queuedTasks = 9, .running = {{0, 1}}, .slots = 0.5},
         200},
        {"packets of five frames",
         {.queuedTasks = 9, .packetFrames = 5, .running = {{0, 5}}, .slots = 1},
         500},
        {"a short packet runs",
         {.queuedTasks = 9, .packetFrames = 5, .running = {{0, 2}}, .slots = 1},
         470},
        {"between two tasks", {.queuedTasks = 9, .slots = 1}, 90},
        {"half of it is done", {.queuedTasks = 0, .running = {{5, 1}}, .slots = 1}, 5},
        {"it takes longer than usual", {.queuedTasks = 0, .running = {{50, 1}}, .slots = 1}, 0},
        {"the last ones have nobody to help them",
         {.queuedTasks = 0, .running = {{0, 1}, {5, 1}}, .slots = 100},
         10},
    };
    for (const auto &[what, left, seconds] : cases)
    {
        const auto told = SecondsLeft(TenSeconds(), left);
        ASSERT_TRUE(told) << what;
        EXPECT_NEAR(*told, seconds, 0.04 * seconds + 0.5) << what;
    }
}

TEST(TimeLeft, IsNotToldBeforeEnoughIsKnown)
{
    const WorkLeft left{.queuedTasks = 9, .running = {{0, 1}}, .slots = 1};
    EXPECT_FALSE(SecondsLeft(TenSeconds(0), left));
    EXPECT_FALSE(SecondsLeft(TenSeconds(4), left));
    EXPECT_TRUE(SecondsLeft(TenSeconds(5), left));
    EXPECT_EQ(FramesPerHour(TenSeconds(4), 1), 0);
}

TEST(TimeLeft, IsNotToldWhereNothingHasRunLatelyOrNothingIsLeft)
{
    EXPECT_FALSE(SecondsLeft(TenSeconds(), {.queuedTasks = 9, .slots = 0}));
    EXPECT_FALSE(SecondsLeft(TenSeconds(), {.queuedTasks = 9, .running = {{0, 1}}, .slots = 0}));
    EXPECT_FALSE(SecondsLeft(TenSeconds(), {.queuedTasks = 0, .slots = 2}));
}

TEST(TimeLeft, TheLastTasksAreTakenForSlowOnes)
{
    FrameTimes times;
    for (int i = 0; i < 100; ++i)
        times.Add(i < 80 ? 10 : 60);
    const auto left = SecondsLeft(times, {.running = {{0, 1}, {0, 1}}, .slots = 2});
    EXPECT_NEAR(*left, 60, 3);
    // Nor has one that is still to begin.
    const auto queued = SecondsLeft(times, {.queuedTasks = 1, .running = {{59, 1}}, .slots = 5});
    EXPECT_NEAR(*queued, 60, 3);
}

TEST(TimeLeft, TheRateIsThatOfTheSlots)
{
    EXPECT_NEAR(FramesPerHour(TenSeconds(), 2), 720, 20);
}

} // namespace
} // namespace master
