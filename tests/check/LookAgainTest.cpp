#include "check/LookAgain.h"

#include <map>
#include <vector>

#include <gtest/gtest.h>

namespace check
{
namespace
{

using analysis::FrameRecord;

constexpr std::int64_t k_second = 1'000'000'000;
constexpr std::int64_t k_start = 1000 * k_second;

/// Time passes by sleeping alone.
class FakeClock : public LookClock
{
public:
    std::int64_t Now() override
    {
        return now;
    }
    void SleepUntil(std::int64_t moment) override
    {
        EXPECT_GT(moment, now) << "there is nothing to wait for";
        now = moment;
    }

    std::int64_t now = k_start;
};

/// What the disk holds from a moment on.
struct Change
{
    std::int64_t when;
    bool exists;
    std::uint64_t size;
    std::int64_t modified;
};
using Disk = std::map<int, std::vector<Change>>;

void LookNow(const Disk &disk, std::int64_t now, FrameRecord &frame)
{
    for (const Change &change : disk.at(frame.frame))
        if (change.when <= now)
            frame = {change.size, ostrel::Time(change.modified), frame.frame, change.exists};
}

struct Result
{
    std::vector<FrameRecord> frames;
    std::int64_t seconds; ///< That it took.
    std::size_t looks;    ///< After the first pass.
    String reason;
};

Result Wait(const Disk &disk, const LookAgainRules &rules)
{
    FakeClock clock;
    Result result{};
    for (const auto &[frame, changes] : disk)
    {
        result.frames.emplace_back().frame = frame;
        LookNow(disk, clock.now, result.frames.back());
    }
    result.reason = LookAgain(result.frames, rules, clock,
                              [&](std::span<FrameRecord> frames) -> String
                              {
                                  result.looks += frames.size();
                                  for (FrameRecord &frame : frames)
                                      LookNow(disk, clock.now, frame);
                                  return {};
                              });
    result.seconds = (clock.now - k_start) / k_second;
    return result;
}

TEST(LookAgain, LeavesAllAloneWithoutRules)
{
    const Result result =
        Wait({{1, {{0, true, 5, k_start}}}, {2, {{0, false, 0, 0}}}}, LookAgainRules());
    EXPECT_EQ(result.seconds, 0);
    EXPECT_EQ(result.looks, 0u);
}

TEST(LookAgain, LooksForMissingFilesSoOftenASecondApart)
{
    const Disk disk = {
        {1, {{0, false, 0, 0}}},
        {2, {{0, false, 0, 0}, {k_start + 2 * k_second, true, 7, 1}}},
        {3, {{0, true, 5, 1}}},
    };
    const Result result = Wait(disk, {.retriesOfMissing = 3});
    EXPECT_FALSE(result.frames[0].exists);
    EXPECT_TRUE(result.frames[1].exists);
    EXPECT_EQ(result.frames[1].size, 7u);
    EXPECT_EQ(result.seconds, 3);
    EXPECT_EQ(result.looks, 5u);
    EXPECT_FALSE(Wait(disk, {.retriesOfMissing = 1}).frames[1].exists);
}

TEST(LookAgain, WaitsUntilAFileIsAsOldAsItMustBe)
{
    const Disk disk = {
        {1, {{0, true, 5, k_start - 9 * k_second}}},
        {2, {{0, true, 5, k_start - 1 * k_second}}},
        // It is still written to.
        {3,
         {{0, true, 5, k_start},
          {k_start + 4 * k_second, true, 50, k_start + 4 * k_second},
          {k_start + 8 * k_second, true, 500, k_start + 8 * k_second}}},
    };
    const Result result = Wait(disk, {.stableAfterNs = 5 * k_second});
    EXPECT_EQ(result.frames[2].size, 500u);
    EXPECT_EQ(result.seconds, 13);
}

TEST(LookAgain, TakesAFileOfTheFutureForStableOnceItStoodStill)
{
    const Disk disk = {{1,
                        {{0, true, 5, k_start + 3600 * k_second},
                         {k_start + 2 * k_second, true, 6, k_start + 3602 * k_second}}}};
    const Result result = Wait(disk, {.stableAfterNs = 5 * k_second});
    EXPECT_EQ(result.frames[0].size, 6u);
    EXPECT_EQ(result.seconds, 10); // Seen to have changed after 5.
}

TEST(LookAgain, LooksForAFileThatWentMeanwhile)
{
    const Disk disk = {{1,
                        {{0, true, 5, k_start},
                         {k_start + 3 * k_second, false, 0, 0},
                         {k_start + 6 * k_second, true, 6, k_start - k_second}}}};
    const Result result = Wait(disk, {.stableAfterNs = 5 * k_second, .retriesOfMissing = 2});
    EXPECT_TRUE(result.frames[0].exists);
}

TEST(LookAgain, EndsWhereItCannotLook)
{
    FakeClock clock;
    std::vector<FrameRecord> frames(2);
    EXPECT_EQ(LookAgain(frames, {.retriesOfMissing = 9}, clock,
                        [](std::span<FrameRecord>) -> String { return "gone"; }),
              "gone");
}

} // namespace
} // namespace check
