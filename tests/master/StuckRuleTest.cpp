#include "master/watch/StuckRule.h"

#include <gtest/gtest.h>

namespace master
{
namespace
{

using namespace std::chrono_literals;
using Silent = std::optional<std::chrono::seconds>;

FrameTimes Fellows(double each, unsigned tasks)
{
    FrameTimes times;
    for (unsigned i = 0; i < tasks; ++i)
        times.Add(each);
    return times;
}

TEST(StuckRule, IsARuleOfTimesLeastAndSilence)
{
    const struct
    {
        const char *what;
        corvan::StuckLimits limits;
        FrameTimes fellows;
        RunningTime task;
        const char *why;
    } cases[] = {
        {"as its fellows", {}, Fellows(200, 9), {500s, 1, {}}, ""},
        {"longer than three times",
         {},
         Fellows(200, 9),
         {1000s, 1, {}},
         "it runs for 16:40, 5 times as long as the slowest tenth of the others"},
        {"as long, of more frames", {}, Fellows(200, 9), {1000s, 2, {}}, ""},
        {"longer, and not for long yet", {}, Fellows(2, 9), {299s, 1, {}}, ""},
        {"longer, and for long",
         {},
         Fellows(2, 9),
         {300s, 1, {}},
         "it runs for 5:00, 150 times as long as the slowest tenth of the others"},
        {"too few fellows", {}, Fellows(2, 4), {100'000s, 1, {}}, ""},
        {"another number of times", {.slowTimes = 10}, Fellows(200, 9), {1000s, 1, {}}, ""},
        {"never by its time", {.slowTimes = 0}, Fellows(2, 9), {100'000s, 1, {}}, ""},
        {"silent", {}, {}, {9000s, 1, 1800s}, "it has printed nothing for 30:00"},
        {"not silent for long yet", {}, {}, {9000s, 1, 1799s}, ""},
        {"never by silence", {.silentSeconds = 0}, {}, {9000s, 1, 9000s}, ""},
        {"nobody knows whether it is silent", {}, {}, {9000s, 1, Silent()}, ""},
    };
    for (const auto &[what, limits, fellows, task, why] : cases)
        EXPECT_EQ(WhyStuck(limits, fellows, task), why) << what;
}

TEST(StuckRule, SpansAreReadByPeople)
{
    EXPECT_EQ(SpanText(7s), "0:07");
    EXPECT_EQ(SpanText(750s), "12:30");
    EXPECT_EQ(SpanText(3720s), "1:02:00");
    EXPECT_EQ(SpanText(360'000s), "100:00:00");
}

} // namespace
} // namespace master
