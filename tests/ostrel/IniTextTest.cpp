#include "ostrel/IniText.h"

#include <gtest/gtest.h>

#include "tests/support/Printing.h"

using namespace ostrel;

TEST(IniText, EachLineIsASectionAKeyACommentOrBlank)
{
    const struct
    {
        std::string_view text;
        int line; // 0: no error.
        const char *reason;
    } cases[] = {
        {"", 0, ""},
        {"\n\n  \t\n", 0, ""},
        {"[a]\nb = c\n", 0, ""},
        {"[a]\r\nb=c\r\n\r\n", 0, ""},
        {"  [ a b ]  \n  b d = c ", 0, ""},
        {"; comment\n# comment\n  ; comment [", 0, ""},
        {"[a] ; comment\n[b]# comment", 0, ""},
        {"b =", 0, ""},
        {"b = = [x] ; y", 0, ""},
        {"[a]\n\nnonsense\n", 3, "neither a section nor key = value"},
        {"[a]\rnonsense\r", 2, "neither a section nor key = value"},
        {"a = b\r\n\r\nnonsense", 3, "neither a section nor key = value"},
        {"[a\n", 1, "a section without \"]\""},
        {"[]", 1, "a section without a usable name"},
        {"[  ]", 1, "a section without a usable name"},
        {"[a\tb]", 1, "a section without a usable name"},
        {"[a] b", 1, "text behind a section"},
        {"[a]\n= c", 2, "a value without a usable key"},
        {"a\x01z = c", 1, "a value without a usable key"},
        {"a = \xFF", 1, "text that is not UTF-8"},
        {"; \xC3", 1, "text that is not UTF-8"},
        {"a = \xC0\x80", 1, "text that is not UTF-8"},
        {"a = \xED\xA0\x80", 1, "text that is not UTF-8"},
        {"a = ü€😀", 0, ""},
        {"a = \xEF\xBB\xBF", 0, ""},
        {"\xEF\xBB\xBF[a]", 1, "neither a section nor key = value"},
        {"\xEF\xBB\xBF"
         "a = b",
         1, "a value without a usable key"},
        {{"a = b\0c", 7}, 1, "a zero byte"},
    };

    for (const auto &[text, line, reason] : cases)
    {
        const std::optional<IniError> error = FindIniError(text);
        EXPECT_EQ(error ? error->line : 0, line) << text;
        EXPECT_EQ(error ? error->reason : "", reason) << text;
    }
}

TEST(IniText, ACommentBehindASectionIsLiftedAboveIt)
{
    EXPECT_EQ(LiftSectionComments("[a] ; x\nb = [c] ; d\n[e]\n"), "; x\n[a]\nb = [c] ; d\n[e]\n");
    EXPECT_EQ(LiftSectionComments("  [a]# [x]\r\n"), "# [x]\n[a]\n");
    EXPECT_EQ(LiftSectionComments(""), "");
}

TEST(IniText, NamesAreWhatALineCanHold)
{
    const struct
    {
        const char *name;
        bool isSection;
        bool isKey;
    } cases[] = {
        {"a", true, true},    {"a b", true, true},    {"", false, false},
        {" a", false, false}, {"a ", false, false},   {"a\nb", false, false},
        {"a]", false, true},  {"a=b", true, false},   {"[a", true, false},
        {";a", true, false},  {"#a", true, false},    {"//server/a", true, true},
        {"ü", true, true},    {"\xFF", false, false},
    };

    for (const auto &[name, isSection, isKey] : cases)
    {
        EXPECT_EQ(IsSectionName(name), isSection) << name;
        EXPECT_EQ(IsKeyName(name), isKey) << name;
    }
}

TEST(IniText, ValuesAreQuotedOnlyWhereTheyMustBe)
{
    const struct
    {
        const char *value;
        const char *written;
    } cases[] = {
        {"", ""},
        {"a b", "a b"},
        {" a", "\" a\""},
        {"a\t", "\"a\t\""},
        {"\"", "\""},
        {"\"\"", "\"\"\"\""},
        {"\"a\"", "\"\"a\"\""},
        {"\"a\";b", "\"a\";b"},
        {"; a = [b]", "; a = [b]"},
        {"<<<END", "<<<END"},
        {"\\n", "\\n"},
    };

    for (const auto &[value, written] : cases)
    {
        EXPECT_EQ(QuoteValue(value), written) << value;
        EXPECT_EQ(UnquoteValue(written), value) << value;
    }
}

TEST(IniText, WhatOneLineCannotHoldIsReplaced)
{
    EXPECT_EQ(StorableValue("a\nb\r\nc"), "a b  c");
    EXPECT_EQ(StorableValue({"a\0b", 3}), "a b");
    EXPECT_EQ(StorableValue("ü\xFF\xC3z\xE2\x82"), "ü??z??");
    EXPECT_EQ(StorableValue("ü€😀"), "ü€😀");
}
