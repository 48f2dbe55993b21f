#include "cli/NumberTexts.h"

#include <limits>

#include <gtest/gtest.h>

namespace cli
{
namespace
{

TEST(NumberTexts, TakesWholeNumbersAlone)
{
    const struct
    {
        const char *text;
        std::optional<long long> number;
    } cases[] = {
        {"0", 0},    {"7", 7},    {"-7", -7},  {"+7", 7},
        {"", {}},    {"+", {}},   {"-", {}},   {"+-7", {}},
        {" 7", {}},  {"7 ", {}},  {"7x", {}},  {"0x10", {}},
        {"1e3", {}}, {"1.5", {}}, {"--7", {}}, {"99999999999999999999", {}},
    };
    for (const auto &[text, number] : cases)
        EXPECT_EQ(ReadWhole(text), number) << text;
}

TEST(NumberTexts, TakesFiniteNumbersWithFractionsAlone)
{
    const struct
    {
        const char *text;
        std::optional<double> number;
    } cases[] = {
        {"0.5", 0.5}, {"-2", -2},    {"1e3", 1000}, {"+.5", 0.5}, {"", {}},      {"nan", {}},
        {"inf", {}},  {"0x1p3", {}}, {"1,5", {}},   {"5%", {}},   {"1e999", {}}, {"-inf", {}},
    };
    for (const auto &[text, number] : cases)
        EXPECT_EQ(ReadNumber(text), number) << text;
}

TEST(NumberTexts, CheckSaysWhatIsWanted)
{
    EXPECT_EQ(WholeBetween(0, 9)("9"), "");
    EXPECT_EQ(WholeBetween(0, 9)("10"), "'10' is not a whole number from 0 to 9");
    EXPECT_EQ(WholeBetween(-5, 9)("-5"), "");
    EXPECT_EQ(NumberBetween(0, 1)("1.0"), "");
    EXPECT_EQ(NumberBetween(0, 1)("1.1"), "'1.1' is not a number from 0 to 1");
    EXPECT_EQ(NumberBetween(0, std::numeric_limits<float>::max())("15%"),
              "'15%' is not a number from 0 up");
    EXPECT_LT(WholeBetween(0, 9)(std::string(70'000, 'x')).size(), 200u);
    EXPECT_EQ(NumberAbove(0)("0.001"), "");
    EXPECT_EQ(NumberAbove(0)("0"), "'0' is not a number above 0");
}

} // namespace
} // namespace cli
