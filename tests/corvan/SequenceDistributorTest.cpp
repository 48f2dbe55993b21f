#include "corvan/SequenceDistributor.h"

#include <chrono>
#include <climits>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/LogCapture.h"

using corvan::SequenceDistributor;
using corvan::String;
using Items = SequenceDistributor::Items;

namespace
{

std::vector<int> Frames(const String &range)
{
    Items items;
    String reason;
    EXPECT_TRUE(SequenceDistributor::ParseRange(range, items, &reason)) << reason;
    return {items.begin(), items.end()};
}

std::string RefusalOf(const String &range)
{
    Items items{1, 2, 3};
    String reason;
    EXPECT_FALSE(SequenceDistributor::ParseRange(range, items, &reason)) << "range: " << range;
    EXPECT_TRUE(items.empty()) << "range: " << range;
    return reason;
}

std::size_t CountFrames(const String &range)
{
    Items items;
    String reason;
    EXPECT_TRUE(SequenceDistributor::ParseRange(range, items, &reason)) << reason;
    return items.size();
}

String Repeat(const String &part, std::size_t times)
{
    String text;
    for (std::size_t i = 0; i < times; ++i)
        text += (i ? "," : "") + part;
    return text;
}

} // namespace

TEST(SequenceDistributor, ReadsEveryForm)
{
    const struct
    {
        const char *text;
        std::vector<int> frames;
    } cases[] = {
        {"", {}},
        {"  ", {}},
        {"7", {7}},
        {"-7", {-7}},
        {"007", {7}},
        {"1-5", {1, 2, 3, 4, 5}},
        {"1-10x3", {1, 4, 7, 10}},
        {"1-10y3", {2, 3, 5, 6, 8, 9}},
        {"1-11x3", {1, 4, 7, 10}},
        {"10-1x4", {1, 5, 9}},
        {"10-7", {7, 8, 9, 10}},
        {"-5-3", {-5, -4, -3, -2, -1, 0, 1, 2, 3}},
        {"-2--6", {-6, -5, -4, -3, -2}},
        {"3,1-5", {1, 2, 3, 4, 5}},
        {"1-3, 5", {1, 2, 3, 5}},
        {" 1 - 3 x 2 ,\t5 ", {1, 3, 5}},
        {"1,", {1}},
        {"1 , ", {1}},
        {"1-5y1", {}},
        {"-2147483648-2147483647y1", {}},
        {"1-5x1", {1, 2, 3, 4, 5}},
        {"1-5x100", {1}},
        {"1-3y100", {2, 3}},
        {"5-5", {5}},
        {"5-5y2", {}},
        {"1-10x3,1-10y3", {1, 2, 3, 4, 5, 6, 7, 8, 9, 10}},
        {"2147483647", {INT_MAX}},
        {"-2147483648", {INT_MIN}},
        {"-2147483648-2147483647x2147483647", {INT_MIN, -1, INT_MAX - 1}},
    };
    for (const auto &[text, frames] : cases)
        EXPECT_EQ(Frames(text), frames) << "text: " << text;
}

TEST(SequenceDistributor, RefusesWhatIsNoRangeAndSaysWhy)
{
    const struct
    {
        const char *text;
        const char *reason;
    } cases[] = {
        {"1-10x-3", "a step must be 1 or more"},
        {"10-1x-3", "a step must be 1 or more"},
        {"1-10x0", "a step must be 1 or more"},
        {"1-10y0", "a step must be 1 or more"},
        {"1-10x", "the step is missing"},
        {"1-10x2x3", "\"x\" is not expected here"},
        {"5x2", "a step needs a range"},
        {"1-", "the end of the range is missing"},
        {"1-,3", "the end of the range is missing"},
        {"-", "a frame number is missing"},
        {"a", "a frame number is missing before \"a\""},
        {"+5", "a frame number is missing before \"+\""},
        {"- 5", "a frame number is missing"},
        {"1-10-20", "a range has two ends only"},
        {"1..5", "\".\" is not expected here"},
        {"1-2.5", "\".\" is not expected here"},
        {"1 2", "\"2\" is not expected here"},
        {"1;2", "\";\" is not expected here"},
        {"1\n", "is not expected here"},
        {"1-10:5", "write 1-10x2 for every second frame"},
        {"1-10X5", "\"X\" is not expected here"},
        {",", "a part between two commas is empty"},
        {",1", "a part between two commas is empty"},
        {"1,,", "a part between two commas is empty"},
        {"1,,2", "a part between two commas is empty"},
        {"2147483648", "outside -2147483648 to 2147483647"},
        {"-2147483649", "outside -2147483648 to 2147483647"},
        {"1-99999999999999999999", "outside -2147483648 to 2147483647"},
        {"1-10x2147483648", "the step is outside"},
        {"1-10000001", "more than 10000000 frames"},
        {"1-2000000000", "more than 10000000 frames"},
        {"-2147483648-2147483647", "more than 10000000 frames"},
        {"1-10000000,20000000", "more than 10000000 frames"},
        {"1-10000000x2,-9000000--1", "more than 10000000 frames"},
        {"1-5000000,5000001-10000000x2,20000000-24000000", "more than 10000000 frames"},
    };
    for (const auto &[text, reason] : cases)
    {
        const std::string refusal = RefusalOf(text);
        EXPECT_NE(refusal.find(reason), std::string::npos) << text << " gave: " << refusal;
        EXPECT_EQ(refusal.find(std::string("cannot use the range \"") + text), 0u) << refusal;
    }
}

TEST(SequenceDistributor, RefusesATextThatNamesTheSameStepsOverAndOver)
{
    EXPECT_EQ(CountFrames(Repeat("1-10000000x2", 4)), 5'000'000u);
    EXPECT_NE(RefusalOf(Repeat("1-10000000x2", 5)).find("it names the same frames over and over"),
              std::string::npos);
}

TEST(SequenceDistributor, CutsALongTextInItsReason)
{
    EXPECT_LT(RefusalOf(String(100'000, '1') + "a").size(), 300u);
    EXPECT_LT(RefusalOf(String(100'000, 'a')).size(), 300u);
    EXPECT_LT(RefusalOf("1-" + String(100'000, ' ')).size(), 300u);
}

TEST(SequenceDistributor, LogsARefusedTextAndGivesAnEmptySet)
{
    LogCapture log;
    Items items{1};
    SequenceDistributor::CalculateItems("1-10x0", items);
    EXPECT_TRUE(items.empty());
    EXPECT_EQ(log.Count(ostrel::k_LogError, "\"1-10x0\": in \"1-10x0\" a step must be 1 or more"),
              1);
}

TEST(SequenceDistributor, CountsEveryFrameOnce)
{
    const struct
    {
        const char *text;
        std::size_t count;
    } cases[] = {
        {"1-10000000", 10'000'000},
        {"1-10000000,1-10000000", 10'000'000},
        {"1-6000000,4000000-10000000", 10'000'000},
        {"1-10000000x3", 3'333'334},
        {"1-10000000x2,1-10000000y2", 10'000'000},
        {"1-10000000x2,5000001-10000000", 7'500'000},
        {"-2147483648-2147483647x430", 9'988'297},
    };
    for (const auto &[text, count] : cases)
        EXPECT_EQ(CountFrames(text), count) << "text: " << text;
}

// Each of these names a few thousand to a hundred million million frames within a megabyte of text.
TEST(SequenceDistributor, DoesNotHangOnAnyMegabyteOfText)
{
    String halves;
    for (int i = 0; i < 55'000; ++i)
        halves += "1-" + std::to_string(9'999'999 - 2 * i) + "x2,";
    String pairs = "-2147483648-2147483647x430,";
    for (int i = 0; i < 60'000; ++i)
        pairs += std::to_string(i * 30'000) + "-" + std::to_string(i * 30'000 + 1) + "x1,";
    const String texts[] = {
        Repeat("1", 500'000),
        Repeat("1-10000000", 90'000),
        Repeat("1-10000000x2", 80'000),
        Repeat("1-10000000y2", 80'000),
        Repeat("1-9999999x9999", 70'000),
        Repeat("-2147483648-2147483647y1", 40'000),
        Repeat("-2147483648-2147483647x2147483647", 30'000),
        "-2147483648-2147483647x430," + Repeat("1-3x2", 150'000),
        "-2147483648-2147483647x430," + Repeat("1-9999x2", 100'000),
        halves,
        pairs,
        String(1'000'000, ','),
        String(1'000'000, '-'),
        String(1'000'000, ' ') + "1",
    };
    for (const String &text : texts)
    {
        const auto begin = std::chrono::steady_clock::now();
        Items items;
        String reason;
        SequenceDistributor::ParseRange(text, items, &reason);
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
        EXPECT_LT(took.count(), 20.0) << text.substr(0, 60);
    }
}

TEST(SequenceDistributor, WritesTheShortestUsualText)
{
    const struct
    {
        Items items;
        const char *text;
    } cases[] = {
        {{}, ""},
        {{5}, "5"},
        {{1, 2}, "1,2"},
        {{1, 3}, "1,3"},
        {{1, 2, 3}, "1-3"},
        {{1, 2, 3, 7}, "1-3,7"},
        {{1, 2, 3, 5, 7, 9, 20}, "1-3,5-9x2,20"},
        {{1, 2, 4, 6, 8}, "1,2-8x2"},
        {{1, 2, 3, 4, 6, 8}, "1-4,6,8"},
        {{1, 3, 5, 6, 7}, "1,3,5-7"},
        {{1, 3, 5, 7, 8, 9}, "1-5x2,7-9"},
        {{1, 2, 4, 5, 7, 8}, "1,2,4,5,7,8"},
        {{-5, -4, -3}, "-5--3"},
        {{-3, -1, 1, 3}, "-3-3x2"},
        {{10, 20, 30, 41}, "10-30x10,41"},
        {{INT_MIN, -1, INT_MAX - 1}, "-2147483648-2147483646x2147483647"},
        {{INT_MIN, INT_MAX}, "-2147483648,2147483647"},
        {{INT_MAX - 4, INT_MAX - 2, INT_MAX}, "2147483643-2147483647x2"},
    };
    for (const auto &[items, text] : cases)
        EXPECT_EQ(SequenceDistributor::CalculateRange(items), text);
}

TEST(SequenceDistributor, ReadsBackWhatItWrites)
{
    std::mt19937 random(20261120);
    for (int turn = 0; turn < 3000; ++turn)
    {
        Items items;
        const int span = 1 + int(random() % 200);
        const int low = turn % 3 ? -span / 2 : (turn % 2 ? INT_MIN : INT_MAX - span);
        const unsigned density = 1 + random() % 4;
        for (int i = 0; i < span; ++i)
            if (random() % density == 0)
                items.insert(low + i);
        const String text = SequenceDistributor::CalculateRange(items);
        Items again;
        String reason;
        ASSERT_TRUE(SequenceDistributor::ParseRange(text, again, &reason)) << reason;
        ASSERT_EQ(again, items) << text;
    }
}

TEST(SequenceDistributor, WritesTenMillionFramesBack)
{
    for (const char *text : {"1-10000000", "-5000000-4999999", "1-10000000x3"})
    {
        Items items;
        SequenceDistributor::CalculateItems(text, items);
        const String written = SequenceDistributor::CalculateRange(items);
        Items again;
        SequenceDistributor::CalculateItems(written, again);
        EXPECT_EQ(again, items) << text;
        EXPECT_LT(written.size(), 30u);
    }
}
