#include "master/schedule/FrameTimes.h"

#include <gtest/gtest.h>

namespace master
{
namespace
{

FrameTimes TimesOf(const std::vector<double> &seconds)
{
    FrameTimes times;
    for (const double one : seconds)
        times.Add(one);
    return times;
}

constexpr double k_within = 0.03;

TEST(FrameTimes, TellWhatIsUsualWithinThreePercent)
{
    const struct
    {
        std::vector<double> seconds;
        double median;
        double slowest;
    } cases[] = {
        {{10}, 10, 10},
        {{10, 10, 10}, 10, 10},
        {{9, 10, 11}, 10, 11},
        {{0.02, 0.021, 0.022, 0.5, 0.0205}, 0.021, 0.5},
        {{3600, 3650, 3700, 86'400}, 3650, 86'400},
    };
    for (const auto &[seconds, median, slowest] : cases)
    {
        const FrameTimes times = TimesOf(seconds);
        EXPECT_NEAR(times.Median(), median, k_within * median) << seconds.size();
        EXPECT_EQ(times.Slowest(), slowest);
        EXPECT_EQ(times.Tasks(), seconds.size());
    }
}

TEST(FrameTimes, OneThatHungChangesNeitherMedianNorMeanByMuch)
{
    std::vector<double> seconds(99, 20.0);
    seconds.push_back(100'000);
    const FrameTimes times = TimesOf(seconds);
    EXPECT_NEAR(times.Median(), 20, 1);
    EXPECT_NEAR(times.Mean(), 20, 1);
    EXPECT_NEAR(times.SlowTenth(), 20, 1);
    EXPECT_EQ(times.Slowest(), 100'000);
}

TEST(FrameTimes, ASlowTenthIsToldFromTheRest)
{
    std::vector<double> seconds;
    for (int i = 1; i <= 100; ++i)
        seconds.push_back(i);
    const FrameTimes times = TimesOf(seconds);
    EXPECT_NEAR(times.SlowTenth(), 90, 3);
    EXPECT_NEAR(times.Median(), 50, 2);
    EXPECT_NEAR(times.Mean(), 50.5, 2);
}

TEST(FrameTimes, FollowAJobWhoseFramesBecomeSlower)
{
    FrameTimes times;
    for (int i = 0; i < 2000; ++i)
        times.Add(1);
    for (int i = 0; i < 1000; ++i)
        times.Add(100);
    EXPECT_NEAR(times.Median(), 100, 5);
    EXPECT_EQ(times.Tasks(), 3000u);
}

TEST(FrameTimes, AreTheSameAfterTheyWereWritten)
{
    FrameTimes times;
    for (int i = 1; i < 700; ++i)
        times.Add(0.01 * i * i);
    const String text = times.ToText();
    EXPECT_LT(text.size(), 3000u);
    const FrameTimes read = FrameTimes::Parse(text);
    EXPECT_EQ(read.ToText(), text);
    EXPECT_EQ(read.Tasks(), times.Tasks());
    EXPECT_EQ(read.Median(), times.Median());
    EXPECT_EQ(FrameTimes().ToText(), "");
}

TEST(FrameTimes, WhatIsNoneIsEmpty)
{
    for (const char *text : {"", "x", "5", "5 ", "5 x", "-1 2 3:4", "5 -2 3:4", "5 2 3", "5 2 3:",
                             "5 2 :4", "5 2 3:-4", "5 2 3:99999999", "5 nan 3:4", "5 2  3:4"})
        EXPECT_EQ(FrameTimes::Parse(text).Tasks(), 0u) << text;
    std::string many = "5 2";
    for (int i = 0; i < 5000; ++i)
        many += " " + std::to_string(i) + ":1";
    EXPECT_EQ(FrameTimes::Parse(many).Tasks(), 0u);
    EXPECT_EQ(FrameTimes().Median(), 0);
    EXPECT_EQ(FrameTimes().Mean(), 0);
}

TEST(FrameTimes, WhatCannotBeATimeIsLeftOut)
{
    EXPECT_EQ(TimesOf({-1, std::numeric_limits<double>::quiet_NaN(),
                       std::numeric_limits<double>::infinity()})
                  .Tasks(),
              0u);
    EXPECT_EQ(TimesOf({0}).Tasks(), 1u);
}

TEST(SecondsText, HasThreeDigitsThatCount)
{
    const std::pair<double, const char *> cases[] = {
        {0, "0.000"},    {0.0421, "0.042"}, {1.234, "1.23"},
        {12.44, "12.4"}, {124.4, "124"},    {123456, "123456"},
    };
    for (const auto &[seconds, text] : cases)
        EXPECT_EQ(SecondsText(seconds), text);
}

} // namespace
} // namespace master
