#include "corvan/Utf8.h"

#include <gtest/gtest.h>

#include "tests/support/Printing.h"

using namespace corvan;

TEST(Utf8, ReplacesWhatIsNone)
{
    const struct
    {
        const char *text;
        const char *clean;
    } cases[] = {
        {"", ""},
        {"plain", "plain"},
        {"ü€😀", "ü€😀"},
        {"a\xff"
         "b",
         "a\xef\xbf\xbd"
         "b"},
        {"a\xc3", "a\xef\xbf\xbd"},
        {"\xed\xa0\x80", "\xef\xbf\xbd"},
        {"\xc0\xaf", "\xef\xbf\xbd"},
    };
    for (const auto &[text, clean] : cases)
    {
        EXPECT_EQ(MakeUtf8(text), clean);
        EXPECT_EQ(IsUtf8(text), String(text) == clean);
        EXPECT_TRUE(IsUtf8(MakeUtf8(text)));
    }
}

TEST(Utf8, KnowsControlCharacters)
{
    for (const char *text : {"\n", "a\tb", "\x7f", "\x1b[0m"})
        EXPECT_TRUE(HasControlCharacters(text));
    for (const char *text : {"", "a b", "ü", "~"})
        EXPECT_FALSE(HasControlCharacters(text));
    EXPECT_TRUE(HasControlCharacters(std::string_view("a\0", 2)));
}

TEST(Utf8, CutsAnExcerptAndKeepsItUtf8)
{
    EXPECT_EQ(Excerpt("short"), "short");
    EXPECT_EQ(Excerpt(String(80, 'a')), String(80, 'a'));
    EXPECT_EQ(Excerpt(String(81, 'a')), String(80, 'a') + "...");
    const String cut = Excerpt(String(79, 'a') + "üü");
    EXPECT_TRUE(IsUtf8(cut)) << cut;
}
