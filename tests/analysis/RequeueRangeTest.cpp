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
        const char *besides = "";
        RequeuePackets packets = RequeuePackets::AsTheJob;
    } cases[] = {
        {"not renumbered", "1-10", "", "", "", "", false, "3,7", "3,7", "", ""},
        {"numbers that no frame writes", "1-10", "", "", "", "", false, "3,12", "3", "", "12"},
        {"a start", "1-10", "", "101", "", "", false, "103,107", "3,7", "103", ""},
        {"a start and steps", "10-12", "", "1", "2", "", false, "3,5", "11,12", "3", ""},
        {"two files a frame", "1-4", "0.5", "1", "", "", false, "4,5", "2,3", "3", "", "3,6"},
        {"a custom range counts frames", "5-9", "", "101", "", "", true, "6", "6", "6", ""},
        {"a custom range of steps", "5-9", "", "101", "2", "", true, "6,8", "6,8", "6", "8", "10"},
        {"packets whose gaps are rendered", "1,3,5", "", "11", "", "5", false, "12", "2", "12", ""},
        {"packets take the frames between along", "1-20", "", "", "", "10", false, "3,6,12,15",
         "3,6,12,15", "", "", "4,5,7-11"},
        {"not beyond the last of them", "1-20", "", "", "", "5", false, "3,6,12", "3,6,12", "", "",
         "4,5"},
        {"packets of one", "1-20", "", "", "", "10", false, "3,6,12,15", "3,6,12,15", "", "", "",
         RequeuePackets::OfOneFrame},
        {"numbers of files in packets", "1-20", "", "101", "", "10", false, "103,106", "3,6", "103",
         "", "104,105"},
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
        const RequeueRange range =
            FindRequeueRange(input, FramesOf(one.files), one.packets, &reason);
        EXPECT_EQ(reason, "") << one.what;
        EXPECT_EQ(SequenceDistributor::CalculateRange(range.frames), one.frames) << one.what;
        EXPECT_EQ(range.renumberStart, one.start) << one.what;
        EXPECT_EQ(SequenceDistributor::CalculateRange(range.missed), one.missed) << one.what;
        EXPECT_EQ(SequenceDistributor::CalculateRange(range.besides), one.besides) << one.what;
        EXPECT_EQ(range.packetSize, one.packets == RequeuePackets::OfOneFrame ? "1" : "")
            << one.what;
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
        const RequeueRange range =
            FindRequeueRange(input, wanted, RequeuePackets::AsTheJob, &reason);
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
    EXPECT_TRUE(FindRequeueRange(input, {1}, RequeuePackets::AsTheJob, &reason).frames.empty());
    EXPECT_EQ(reason, "a packet size of 0 is below 1");
}

TEST(RequeueRange, TellsWhatACopyRendersBesides)
{
    const struct
    {
        const char *packetSize;
        const char *frames;
        const char *rendered;
    } cases[] = {
        {"", "3,6,9", "3-9x3"},
        {"1", "3,6,9", "3-9x3"},
        {"4", "3,6,9", "3-6,9"},
        {"10", "3,6,9,20,22", "3-9,20-22"},
        {"2147483647", "-2147483648,2147483645", "-2147483648,2147483645"},
        {"0", "3,6", "3,6"},
        {"5", "", ""},
    };
    for (const auto &[packetSize, frames, rendered] : cases)
    {
        ExpansionInput input;
        input.packetSize = packetSize;
        input.hasCustomRange = true; // It says what to look for, not what is rendered.
        EXPECT_EQ(SequenceDistributor::CalculateRange(FindRenderedFrames(input, FramesOf(frames))),
                  rendered)
            << packetSize << ": " << frames;
    }
}
