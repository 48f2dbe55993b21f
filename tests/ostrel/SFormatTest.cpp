#include "ostrel/SFormat.h"

#include <gtest/gtest.h>

#include "ostrel/Path.h"
#include "tests/support/Printing.h"
#include "tests/support/Thrown.h"

using ostrel::SFormat;
using ostrel::String;

TEST(SFormat, WritesValuesAsPrintfDoes)
{
    EXPECT_EQ(SFormat("a.%04d.exr", 12), "a.0012.exr");
    EXPECT_EQ(SFormat("a.%04d.exr", -7), "a.-007.exr");
    EXPECT_EQ(SFormat("%d", 1234567), "1234567");
    EXPECT_EQ(SFormat("%05i %x", 42, 255), "00042 ff");
    EXPECT_EQ(SFormat("%g", 15.0F), "15");
    EXPECT_EQ(SFormat("%g", 12.5F), "12.5");
    EXPECT_EQ(SFormat("%s is %s", String("name"), "text"), "name is text");
    EXPECT_EQ(SFormat("%s", ostrel::Path("a/b").Text()), "a/b");
    EXPECT_EQ(SFormat("100%%"), "100%");
    EXPECT_EQ(SFormat("%llu", 18446744073709551615ULL), "18446744073709551615");
}

TEST(SFormat, ThrowsForAPatternThatDoesNotFitItsValues)
{
    for (const char *pattern : {"%d %d", "%", "%y", "%d %n", "%2$d"})
    {
        const std::string text = Thrown([&] { SFormat(pattern, 1); });
        EXPECT_TRUE(text.starts_with("cannot format \"" + std::string(pattern) + "\": ")) << text;
    }
    EXPECT_NE(Thrown([] { SFormat("%d", "text"); }), "(nothing thrown)");
}
