#include "ostrel/StringTokenizer.h"

#include <vector>

#include <gtest/gtest.h>

#include "tests/support/Printing.h"

using ostrel::String;
using ostrel::StringTokenizer;

namespace
{

// The fields, each between bars: "|a|b|".
std::string Fields(const String &text, bool keepEmpty)
{
    StringTokenizer tokenizer(text, ';', keepEmpty, '"', '\\');
    std::string fields = "|";
    while (const std::optional<String> field = tokenizer.GetNext())
        fields += *field + '|';
    EXPECT_FALSE(tokenizer.GetNext()) << "the end stays the end";
    return fields;
}

String JoinedRawFields(const String &text)
{
    StringTokenizer tokenizer(text, ';', true, '"', '\\');
    String joined;
    while (tokenizer.GetNext())
        joined += tokenizer.RawField() + ';';
    joined.pop_back();
    return joined;
}

} // namespace

TEST(StringTokenizer, CutsAtSeparatorsAndHonoursQuotesAndEscapes)
{
    const struct
    {
        const char *text;
        const char *fields;
        const char *withEmpty;
    } cases[] = {
        {"", "|", "||"},
        {"a", "|a|", "|a|"},
        {"a;b", "|a|b|", "|a|b|"},
        {"a.%04d.exr;b.%04d.exr", "|a.%04d.exr|b.%04d.exr|", "|a.%04d.exr|b.%04d.exr|"},
        {"a;;b", "|a|b|", "|a||b|"},
        {";", "|", "|||"},
        {"a;", "|a|", "|a||"},
        {";a", "|a|", "||a|"},
        {" a ; b ", "| a | b |", "| a | b |"},
        {"\"a;b\";c", "|a;b|c|", "|a;b|c|"},
        {"a\";\"b;c", "|a;b|c|", "|a;b|c|"},
        {"\"\";a", "|a|", "||a|"},
        {"\"a;b", "|a;b|", "|a;b|"},
        {"a\"", "|a|", "|a|"},
        {"a\\;b;c", "|a;b|c|", "|a;b|c|"},
        {"a\\\\;b", "|a\\|b|", "|a\\|b|"},
        {"\\\"a;b", "|\"a|b|", "|\"a|b|"},
        {"\"a\\\"b;c\"", "|a\"b;c|", "|a\"b;c|"},
        {"C:\\frames\\a", "|C:framesa|", "|C:framesa|"},
        {"\"C:\\\\a\";b", "|C:\\a|b|", "|C:\\a|b|"},
        {"a\\", "|a\\|", "|a\\|"},
        {"\\", "|\\|", "|\\|"},
        {"ä;ö", "|ä|ö|", "|ä|ö|"},
    };

    for (const auto &[text, fields, withEmpty] : cases)
    {
        EXPECT_EQ(Fields(text, false), fields) << text;
        EXPECT_EQ(Fields(text, true), withEmpty) << text;
        EXPECT_EQ(JoinedRawFields(text), text);
    }
}

TEST(StringTokenizer, GivesAFieldAsItStandsInTheText)
{
    StringTokenizer tokenizer("\"a;b\";c\\;d;", ';', false, '"', '\\');
    EXPECT_EQ(tokenizer.GetNext(), "a;b");
    EXPECT_EQ(tokenizer.RawField(), "\"a;b\"");
    EXPECT_EQ(tokenizer.GetNext(), "c;d");
    EXPECT_EQ(tokenizer.RawField(), "c\\;d");
}
