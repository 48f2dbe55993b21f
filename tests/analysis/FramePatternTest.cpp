#include "analysis/FramePattern.h"

#include <climits>
#include <fmt/printf.h>
#include <random>

#include <gtest/gtest.h>

using namespace analysis;

namespace
{

std::string Formatted(const std::string &text, int number)
{
    String reason;
    const auto pattern = FramePattern::Parse(text, &reason);
    return pattern ? pattern->Format(number) : "refused: " + reason;
}

std::string Reason(const std::string &text)
{
    String reason = "accepted";
    FramePattern::Parse(text, &reason);
    return reason;
}

const int k_numbers[] = {0,    1,         7,       -1,      -7,      9,          10,
                         -10,  42,        999,     9999,    10000,   -9999,      32768,
                         -128, 123456789, 1000000, INT_MAX, INT_MIN, INT_MIN + 1};

} // namespace

TEST(FramePattern, FormatsOneNumber)
{
    const struct
    {
        const char *pattern;
        int number;
        const char *path;
    } cases[] = {
        {"%d", 7, "7"},
        {"%d", -7, "-7"},
        {"%d", INT_MIN, "-2147483648"},
        {"/r/a.%04d.exr", 7, "/r/a.0007.exr"},
        {"/r/a.%04d.exr", -7, "/r/a.-007.exr"},
        {"/r/a.%04d.exr", 12345, "/r/a.12345.exr"},
        {"/r/a.%04d.exr", -12345, "/r/a.-12345.exr"},
        {"%01d", 0, "0"},
        {"%0d", 7, "7"},
        {"%4d", 7, "   7"},
        {"%4d", -7, "  -7"},
        {"%-4d|", 7, "7   |"},
        {"%-04d|", 7, "7   |"},
        {"%+d", 7, "+7"},
        {"% d", 7, " 7"},
        {"%+04d", 7, "+007"},
        {"%000000004d", 42, "0042"},
        {"%05i", 42, "00042"},
        {"%u", 42, "42"},
        {"%x", 255, "ff"},
        {"%X", 255, "FF"},
        {"%#x", 255, "0xff"},
        {"%o", 8, "10"},
        {"%ld", -7, "-7"},
        {"%hhd", 257, "1"},
        {"100%%/a.%d", 1, "100%/a.1"},
        {"%d.%%d", 1, "1.%d"},
        {"%%%d%%", 1, "%1%"},
        {"r\xc3\xa4um e/\"x\".%02d", 3, "r\xc3\xa4um e/\"x\".03"},
    };

    for (const auto &[pattern, number, path] : cases)
        EXPECT_EQ(Formatted(pattern, number), path) << pattern;
}

TEST(FramePattern, IsRefusedWithAReason)
{
    const struct
    {
        const char *pattern;
        const char *reason;
    } cases[] = {
        {"", "it has no place for a frame number, such as %04d"},
        {"a.exr", "it has no place for a frame number, such as %04d"},
        {"a.%%04d.exr", "it has no place for a frame number, such as %04d"},
        {"a.%d.%d", "it has more than one place for a number"},
        {"a.%s", "\"%s\" is no conversion of a whole number"},
        {"a.%n", "\"%n\" is no conversion of a whole number"},
        {"a.%04d.%s", "\"%s\" is no conversion of a whole number"},
        {"a.%f", "\"%f\" is no conversion of a whole number"},
        {"a.%c", "\"%c\" is no conversion of a whole number"},
        {"a.%p", "\"%p\" is no conversion of a whole number"},
        {"a.%Ld", "\"%L\" is no conversion of a whole number"},
        {"a.%hld", "\"%hl\" is no conversion of a whole number"},
        {"50%/a.%04d", "\"%/\" is no conversion of a whole number"},
        {"%-%d", "\"%-%\" is no conversion of a whole number"},
        {"%4-d", "\"%4-\" is no conversion of a whole number"},
        {"%.-3d", "\"%.-\" is no conversion of a whole number"},
        {"%04d%", "the percent sign at its end begins no conversion"},
        {"%04", "the percent sign at its end begins no conversion"},
        {"%*d", "a width or precision given as \"*\" is not supported"},
        {"%.*d", "a width or precision given as \"*\" is not supported"},
        {"%1$d", "a numbered argument (\"$\") is not supported"},
        {"%4097d", "a width or precision over 4096"},
        {"%.4097d", "a width or precision over 4096"},
        {"%99999999999999999999999d", "a width or precision over 4096"},
        {"%0000000004x", "a conversion with more than 9 digits in a row"},
        {"%.0000000004d", "a conversion with more than 9 digits in a row"},
        {"%00000000000d", "a conversion with more than 9 digits in a row"},
        {"%4096dx", "its paths are longer than 4096 bytes"},
    };

    for (const auto &[pattern, reason] : cases)
        EXPECT_EQ(Reason(pattern), reason) << pattern;
    EXPECT_EQ(Reason(std::string("a\0%d", 4)), "it holds a zero byte");
}

TEST(FramePattern, MayBeAsLongAsAPathAndNoLonger)
{
    EXPECT_EQ(Reason(std::string(4095, 'a') + "%d"), "accepted");
    EXPECT_EQ(Reason(std::string(4096, 'a') + "%d"), "its paths are longer than 4096 bytes");
    EXPECT_EQ(Formatted("%4096d", 7).size(), 4096u);
    EXPECT_EQ(Formatted("%.4096d", 7).size(), 4096u);
}

TEST(FramePattern, KeepsTheReasonToItselfWhereNobodyAsks)
{
    EXPECT_FALSE(FramePattern::Parse("%s", nullptr));
}

TEST(FramePattern, TellsItsLiteralParts)
{
    const auto pattern = FramePattern::Parse("/a%%b/%04d.%%.exr", nullptr);
    ASSERT_TRUE(pattern);
    EXPECT_EQ(pattern->Before(), "/a%b/");
    EXPECT_EQ(pattern->After(), ".%.exr");
}

TEST(FramePattern, KnowsALengthThatNoPathExceeds)
{
    const struct
    {
        const char *pattern;
        std::size_t leastBytes;
    } cases[] = {
        {"ab.%d", 3 + 11}, {"%40d", 40}, {"%.30d", 31}, {"%+#.30llx", 33}, {"%llo", 22},
    };

    for (const auto &[text, leastBytes] : cases)
    {
        const auto pattern = FramePattern::Parse(text, nullptr);
        ASSERT_TRUE(pattern) << text;
        EXPECT_GE(pattern->LongestPath(), leastBytes) << text;
        for (const int number : k_numbers)
            EXPECT_LE(pattern->Format(number).size(), pattern->LongestPath()) << text;
    }
}

TEST(FramePattern, FormatsWhatSprintfFormatsForEveryWellFormedConversion)
{
    std::mt19937 random(5);
    const char *const lengths[] = {"", "", "", "hh", "h", "l", "ll", "j", "z", "t"};
    for (int round = 0; round < 20'000; ++round)
    {
        std::string text = random() % 2 ? "/r/%%a." : "";
        text += '%';
        for (unsigned flags = random() % 4; flags > 0; --flags)
            text += "-+ #0"[random() % 5];
        if (random() % 2)
            text += std::to_string(random() % 20);
        if (random() % 3 == 0)
            text += "." + (random() % 4 ? std::to_string(random() % 40) : std::string());
        text += lengths[random() % std::size(lengths)];
        text += "diouxX"[random() % 6];
        text += random() % 2 ? ".exr%%" : "";

        String reason;
        const auto pattern = FramePattern::Parse(text, &reason);
        ASSERT_TRUE(pattern) << text << ": " << reason;
        const int number =
            random() % 2 ? int(random()) : k_numbers[random() % std::size(k_numbers)];
        ASSERT_EQ(pattern->Format(number), fmt::sprintf(text, number)) << text << ", " << number;
        ASSERT_LE(pattern->Format(number).size(), pattern->LongestPath()) << text;
    }
}

TEST(FramePattern, FormatsWhatSprintfFormatsWheneverItTakesAText)
{
    std::mt19937 random(6);
    const std::string alphabet = "%%%%%0012459.-+ #dioxXuhljzt$*snaL/";
    int taken = 0;
    for (int round = 0; round < 200'000; ++round)
    {
        std::string text;
        for (unsigned length = random() % 9; length > 0; --length)
            text += alphabet[random() % alphabet.size()];
        const auto pattern = FramePattern::Parse(text, nullptr);
        if (!pattern)
            continue;

        ++taken;
        const int number = k_numbers[random() % std::size(k_numbers)];
        ASSERT_EQ(pattern->Format(number), fmt::sprintf(text, number)) << text << ", " << number;
    }
    EXPECT_GT(taken, 1000);
}

TEST(PatternFromHashes, TurnsFrameMarksIntoAConversion)
{
    const struct
    {
        const char *what;
        const char *text;
        const char *pattern;
    } cases[] = {
        {"four hashes", "a.####.exr", "a.%04d.exr"},
        {"one hash", "a.#.exr", "a.%d.exr"},
        {"ten hashes", "a.##########", "a.%010d"},
        {"four at-signs", "a.@@@@.exr", "a.%04d.exr"},
        {"frame variable", "a.$F4.exr", "a.%04d.exr"},
        {"frame variable without digits", "a.$F.exr", "a.%d.exr"},
        {"frame variable at the end", "a.$F", "a.%d"},
        {"frame variable of one digit", "a.$F1", "a.%d"},
        {"frame variable of two digits", "a.$F12.exr", "a.%012d.exr"},
        {"another variable", "$FOO/a.$F4", "$FOO/a.%04d"},
        {"a pattern already", "a#1/b@c/$F/x.%04d.exr", "a#1/b@c/$F/x.%04d.exr"},
        {"at-sign of a name beside hashes", "me@host/a.####.exr", "me@host/a.%04d.exr"},
        {"hash of a name beside a frame variable", "take#2/a.$F4.exr", "take#2/a.%04d.exr"},
        {"nothing to turn", "a.exr", "a.exr"},
        {"empty", "", ""},
        {"percent signs are left alone", "50%%/a.####", "50%%/a.%04d"},
    };

    for (const auto &[what, text, pattern] : cases)
        EXPECT_EQ(PatternFromHashes(text), pattern) << what;
}

TEST(PatternFromHashes, LeavesTwoMarksToBeRefused)
{
    EXPECT_EQ(Reason(PatternFromHashes("shot_##/a.####.exr")),
              "it has more than one place for a number");
    EXPECT_EQ(Reason(PatternFromHashes(std::string(5000, '#'))), "a width or precision over 4096");
    EXPECT_EQ(Reason(PatternFromHashes("$F99999999999999999999")),
              "a width or precision over 4096");
}

TEST(FramePattern, ShowsTwoNumbersAlikeExactlyWhereTheirPathsAre)
{
    constexpr int k_numbers[] = {0,     1,     -1,    127,    128,     255,     256,    257,
                                 -128,  -129,  32767, 32768,  65535,   65536,   65537,  -32769,
                                 99999, 70000, -7,    100000, 1 << 24, INT_MAX, INT_MIN};
    for (const char *text : {"%d", "%04d", "%x", "%hd", "%hhd", "%hx", "%hhu", "%lld", "%-5ho",
                             "%+.3hhd", "%.0d", "%jx", "%zu", "%td", "%lu", "%#X"})
    {
        const auto pattern = FramePattern::Parse(text, nullptr);
        for (const int a : k_numbers)
            for (const int b : k_numbers)
                EXPECT_EQ(pattern->Format(a) == pattern->Format(b),
                          pattern->ShownNumber(a) == pattern->ShownNumber(b))
                    << text << " " << a << " " << b;
    }
}
