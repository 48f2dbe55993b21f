#include "ostrel/String.h"

#include <cstdint>
#include <limits>
#include <unordered_set>

#include <gtest/gtest.h>

#include "tests/support/Printing.h"

using ostrel::String;

TEST(String, TakesWholeNumbersAsDecimalText)
{
    String text;
    text = 0;
    EXPECT_EQ(text, "0");
    text = -42;
    EXPECT_EQ(text, "-42");
    text = 4294967295U;
    EXPECT_EQ(text, "4294967295");
    text = std::numeric_limits<std::int64_t>::min();
    EXPECT_EQ(text, "-9223372036854775808");
    text = std::numeric_limits<std::uint64_t>::max();
    EXPECT_EQ(text, "18446744073709551615");
}

TEST(String, IsMadeOfEveryKindOfText)
{
    const char *null = nullptr;
    EXPECT_EQ(String(null), "");
    EXPECT_EQ(String(std::string("a")), "a");
    EXPECT_EQ(String(std::string_view("ab")), "ab");

    String text = "x";
    text = null;
    EXPECT_EQ(text, "");
    text = std::string("moved");
    EXPECT_EQ(text, "moved");
}

TEST(String, IsAKeyOfHashedContainers)
{
    const std::unordered_set<String> texts = {"a", "b", "a"};
    EXPECT_EQ(texts.size(), 2u);
}
