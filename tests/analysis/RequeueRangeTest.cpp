#include "analysis/RequeueRange.h"

#include <random>

#include <gtest/gtest.h>

using namespace analysis;
using Items = SequenceDistributor::Items;

namespace
{

Items FramesOf(const String &range)
{
    Items frames;
    EXPECT_TRUE(SequenceDistributor::ParseRange(range, frames, nullptr)) << range;
    return frames;
}

Items NumbersOf(const ExpansionInput &input)
{
    Items numbers;
    EXPECT_EQ(ExpandNumbers(*FramePattern::Parse("%d", nullptr), input,
                            [&numbers](int number) { numbers.insert(number); }),
              "");
    return numbers;
}

} // namespace

TEST(RequeueRange, TurnsNumbersOfFilesBackIntoFrames)
{
    const struct
    {
        const char *what;
        const char *range;
        const char *sequenceBy;
        const char *renumberStart;
        const char *renumberBy;
        const char *packetSize;
        bool hasCustomRange;
        const char *files;
        const char *frames;
        const char *start;
        const char *missed;
    } cases[] = {
        {"not renumbered", "1-10", "", "", "", "", false, "3,7", "3,7", "", ""},
        {"numbers that no frame writes", "1-10", "", "", "", "", false, "3,12", "3", "", "12"},
        {"a start", "1-10", "", "101", "", "", false, "103,107", "3,7", "103", ""},
        {"a start and steps", "10-12", "", "1", "2", "", false, "3,5", "11,12", "3", ""},
        {"two files a frame", "1-4", "0.5", "1", "", "", false, "4,5", "2,3", "3", ""},
        {"a custom range counts frames", "5-9", "", "101", "", "", true, "6", "6", "6", ""},
        {"a custom range of steps", "5-9", "", "101", "2", "", true, "6,8", "6,8", "6", "8"},
        {"packets whose gaps are rendered", "1,3,5", "", "11", "", "5", false, "12", "2", "12", ""},
        {"nothing", "1-10", "", "", "", "", false, "", "", "", ""},
    };
    for (const auto &one : cases)
    {
        ExpansionInput input;
        input.frames = FramesOf(one.range);
        input.sequenceBy = one.sequenceBy;
        input.renumberStart = one.renumberStart;
        input.renumberBy = one.renumberBy;
        input.packetSize = one.packetSize;
        input.hasCustomRange = one.hasCustomRange;
        String reason;
        const RequeueRange range = FindRequeueRange(input, FramesOf(one.files), &reason);
        EXPECT_EQ(reason, "") << one.what;
        EXPECT_EQ(SequenceDistributor::CalculateRange(range.frames), one.frames) << one.what;
        EXPECT_EQ(range.renumberStart, one.start) << one.what;
        EXPECT_EQ(SequenceDistributor::CalculateRange(range.missed), one.missed) << one.what;
    }
}

TEST(RequeueRange, GivesAJobThatWritesTheFilesWhereStepsAreWhole)
{
    std::mt19937 random(3);
    for (int round = 0; round < 500; ++round)
    {
        ExpansionInput input;
        input.frames = {};
        for (int parts = 3; parts > 0; --parts)
        {
            const int first = int(random() % 60);
            input.frames.insertRange(first, first + int(random() % 9));
        }
        input.renumberStart = std::to_string(random() % 900);
        input.renumberBy = std::to_string(random() % 4 + 1);
        Items wanted;
        for (const int number : NumbersOf(input))
            if (random() % 3 == 0)
                wanted.insert(number);

        String reason;
        const RequeueRange range = FindRequeueRange(input, wanted, &reason);
        EXPECT_TRUE(range.missed.empty());
        ExpansionInput copy = input;
        copy.frames = range.frames;
        if (!range.renumberStart.empty())
            copy.renumberStart = range.renumberStart;
        EXPECT_TRUE(NumbersOf(copy) == wanted) << "round " << round;
    }
}

TEST(RequeueRange, TellsWhyAJobHasNoFiles)
{
    ExpansionInput input;
    input.frames = {1};
    input.packetSize = "0";
    String reason;
    EXPECT_TRUE(FindRequeueRange(input, {1}, &reason).frames.empty());
    EXPECT_EQ(reason, "a packet size of 0 is below 1");
}
