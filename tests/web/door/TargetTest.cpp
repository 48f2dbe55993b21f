#include "web/door/Target.h"

#include <gtest/gtest.h>

using web::IsUtf8;
using web::ParseTarget;
using web::Target;

namespace
{

std::string Shown(const Target &target)
{
    std::string text;
    for (const std::string &part : target.parts)
        text += "/" + part;
    for (const auto &[name, value] : target.query)
        text += " " + name + "=" + value;
    return text;
}

TEST(Target, IsReadAsItsSenderHasWrittenIt)
{
    const struct
    {
        const char *text;
        const char *shown;
    } cases[] = {
        {"/", "/"},
        {"/api/jobs", "/api/jobs"},
        {"/api/jobs/", "/api/jobs/"},
        {"//", "//"},
        {"/a%20b", "/a b"},
        {"/a+b", "/a+b"},
        {"/a%2fb/c", "/a/b/c"},
        {"/%C3%a4", "/\xc3\xa4"},
        {"/..", "/.."},
        {"/a?", "/a"},
        {"/a?b", "/a b="},
        {"/a?b=1&c=2", "/a b=1 c=2"},
        {"/a?&&b=1&", "/a b=1"},
        {"/a?b=1=2", "/a b=1=2"},
        {"/a?b=x+y%2B", "/a b=x y+"},
        {"/a?b=%0a", "/a b=\n"},
        {"/a?b=/c?d", "/a b=/c?d"},
    };
    for (const auto &[text, shown] : cases)
    {
        ostrel::String reason;
        const auto target = ParseTarget(text, &reason);
        ASSERT_TRUE(target) << text << ": " << reason;
        EXPECT_EQ(Shown(*target), shown) << text;
    }
    ostrel::String reason;
    EXPECT_EQ(ParseTarget("/a%2fb/c", &reason)->parts, (std::vector<std::string>{"a/b", "c"}));
    EXPECT_EQ(ParseTarget("/a%2fb/c", &reason)->path, "/a%2fb/c");
}

TEST(Target, IsRefusedWhereItCouldMeanTwoThings)
{
    const char *const path = "the address is no path of UTF-8 with its escapes";
    const char *const query = "the query of the address is not UTF-8 with its escapes";
    const struct
    {
        const char *text;
        const char *reason;
    } cases[] = {
        {"", path},
        {"*", path},
        {"a", path},
        {"http://a/b", path},
        {"/a#b", path},
        {"/%", path},
        {"/%4", path},
        {"/%4g", path},
        {"/%00", path},
        {"/%7f", path},
        {"/a%0ab", path},
        {"/%ff", path},
        {"/%c0%af", path},
        {"/%ed%a0%80", path},
        {"/a?b=%", query},
        {"/a?b=%ff", query},
        {"/a?b=%00", query},
        {"/a?%0a=1", query},
        {"/a?b=1&b=2", "\"b\" is given twice"},
        {"/a?b=1&%62=1", "\"b\" is given twice"},
    };
    for (const auto &[text, expected] : cases)
    {
        ostrel::String reason;
        EXPECT_FALSE(ParseTarget(text, &reason)) << text;
        EXPECT_EQ(reason, expected) << text;
    }
}

TEST(Target, KnowsUtf8)
{
    const struct
    {
        const char *text;
        bool isUtf8;
    } cases[] = {
        {"", true},
        {"a", true},
        {"\x7f", true},
        {"\xc2\x80", true},
        {"\xdf\xbf", true},
        {"\xe0\xa0\x80", true},
        {"\xef\xbf\xbf", true},
        {"\xf0\x90\x80\x80", true},
        {"\xf4\x8f\xbf\xbf", true},
        {"\x80", false},
        {"\xc1\xbf", false},
        {"\xc3", false},
        {"\xc3"
         "a",
         false},
        {"\xe0\x9f\xbf", false},
        {"\xe2\x82", false},
        {"\xed\xa0\x80", false},
        {"\xf0\x8f\xbf\xbf", false},
        {"\xf4\x90\x80\x80", false},
        {"\xf5\x80\x80\x80", false},
        {"\xf0\x90\x80", false},
    };
    for (const auto &[text, isUtf8] : cases)
        EXPECT_EQ(IsUtf8(text), isUtf8) << testing::PrintToString(std::string(text));
}

} // namespace
