#include "cli/TimeTexts.h"

#include <gtest/gtest.h>

namespace cli
{
namespace
{

TEST(TimeTexts, ReadAMomentInUtcAndNothingElse)
{
    EXPECT_EQ(ReadUtc("1970-01-02T00:00:01Z"), Time(86'401'000'000'000));
    for (const char *text :
         {"", "2026-11-20", "2026-11-20T14:03:09", "2026-11-20T14:03:09Zx", "2026-13-20T14:03:09Z"})
        EXPECT_FALSE(ReadUtc(text)) << text;
}

TEST(TimeTexts, TheDayIsToldWhereItIsAnotherOne)
{
    const Time now = Time::Now();
    EXPECT_EQ(MomentText(now), now.Format("%H:%M", true, false));
    const Time later(now.First() + 86'400'000'000'000 * 3);
    EXPECT_EQ(MomentText(later), later.Format("%Y-%m-%d %H:%M", true, false));
}

TEST(TimeTexts, SpansAreAsCoarseAsTheyAreLong)
{
    const std::pair<long, const char *> cases[] = {
        {-5, "less than a minute"}, {59, "less than a minute"}, {60, "1 min"},
        {3599, "59 min"},           {3600, "1 h 0 min"},        {86'399, "23 h 59 min"},
        {86'400, "1 day 0 h"},      {190'000, "2 days 4 h"},
    };
    for (const auto &[seconds, text] : cases)
        EXPECT_EQ(SpanText(Time(seconds * 1'000'000'000), Time(0)), text) << seconds;
}

} // namespace
} // namespace cli
