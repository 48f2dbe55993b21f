#include "ostrel/Time.h"

#include <limits>

#include <gtest/gtest.h>

#include "tests/support/EnvironmentGuard.h"
#include "tests/support/Printing.h"

using ostrel::k_DateTimeNoMS;
using ostrel::Time;

namespace
{

constexpr std::int64_t k_second = 1'000'000'000;

// The zone of the machine, for as long as it lives.
class ZoneGuard
{
public:
    explicit ZoneGuard(const char *zone) : m_variable("TZ", zone)
    {
        tzset();
    }

private:
    EnvironmentGuard m_variable;
};

} // namespace

TEST(Time, FormatsByPatternInTheZoneAskedFor)
{
    const ZoneGuard zone("EST5");
    const struct
    {
        std::int64_t nanoseconds;
        const char *utc;
        const char *local;
    } cases[] = {
        {0, "1970-01-01 00:00:00", "1969-12-31 19:00:00"},
        {1'795'183'389 * k_second, "2026-11-20 14:03:09", "2026-11-20 09:03:09"},
        {1'795'183'389 * k_second + 999'999'999, "2026-11-20 14:03:09", "2026-11-20 09:03:09"},
        {-1, "1969-12-31 23:59:59", "1969-12-31 18:59:59"},
        {-k_second, "1969-12-31 23:59:59", "1969-12-31 18:59:59"},
        {-k_second - 1, "1969-12-31 23:59:58", "1969-12-31 18:59:58"},
        {std::numeric_limits<std::int64_t>::max(), "2262-04-11 23:47:16", "2262-04-11 18:47:16"},
        {std::numeric_limits<std::int64_t>::min(), "1677-09-21 00:12:43", "1677-09-20 19:12:43"},
    };

    for (const auto &[nanoseconds, utc, local] : cases)
    {
        EXPECT_EQ(Time(nanoseconds).Format(k_DateTimeNoMS, false, false), utc) << nanoseconds;
        EXPECT_EQ(Time(nanoseconds).Format(k_DateTimeNoMS, true, false), local) << nanoseconds;
    }
}

TEST(Time, ZeroIsBlankOnlyWhenAskedFor)
{
    EXPECT_EQ(Time().Format(k_DateTimeNoMS, false, true), "");
    EXPECT_EQ(Time().Format("%Y", false, false), "1970");
    EXPECT_EQ(Time(1).Format("%Y", false, true), "1970");
}

TEST(Time, FormatTakesAnyPattern)
{
    EXPECT_EQ(Time(1).Format("", false, false), "");
    EXPECT_EQ(Time(1).Format("plain", false, false), "plain");

    std::string pattern;
    std::string expected;
    for (int i = 0; i < 100; ++i)
    {
        pattern += "%Y-";
        expected += "1970-";
    }
    EXPECT_EQ(Time(1).Format(pattern.c_str(), false, false), expected);
}

TEST(Time, KeepsNanosecondsAndAZeroSecondWord)
{
    const Time time(timespec{.tv_sec = 5, .tv_nsec = 7});
    EXPECT_EQ(time.First(), 5 * k_second + 7);
    EXPECT_EQ(time.Second(), 0);
    EXPECT_EQ(time, Time(5 * k_second + 7));
    EXPECT_FALSE(time == Time());
}

TEST(Time, NowIsBetweenTheClocksOfTheSystem)
{
    const std::time_t before = std::time(nullptr);
    const std::int64_t now = Time::Now().First() / k_second;
    // The coarse clock of time() may lag a little behind.
    EXPECT_GE(now, before);
    EXPECT_LE(now, std::time(nullptr) + 1);
}

TEST(Time, AppendsTheIsoFormWithNanoseconds)
{
    const struct
    {
        std::int64_t nanoseconds;
        const char *text;
    } cases[] = {
        {0, "1970-01-01T00:00:00.000000000Z"},
        {1'795'183'389 * k_second + 123'456'789, "2026-11-20T14:03:09.123456789Z"},
        {951'782'399 * k_second, "2000-02-28T23:59:59.000000000Z"},
        {951'782'400 * k_second, "2000-02-29T00:00:00.000000000Z"},
        {-1, "1969-12-31T23:59:59.999999999Z"},
        {std::numeric_limits<std::int64_t>::max(), "2262-04-11T23:47:16.854775807Z"},
        {std::numeric_limits<std::int64_t>::min(), "1677-09-21T00:12:43.145224192Z"},
    };
    for (const auto &[nanoseconds, expected] : cases)
    {
        std::string text = "at ";
        Time(nanoseconds).AppendIso(text);
        EXPECT_EQ(text, "at " + std::string(expected));
    }
}
