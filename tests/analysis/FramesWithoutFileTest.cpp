#include "analysis/FramesWithoutFile.h"

#include <random>

#include <gtest/gtest.h>

using namespace analysis;
using Items = SequenceDistributor::Items;

namespace
{

struct JobTexts
{
    const char *sequenceBy = "";
    const char *renumberStart = "";
    const char *renumberBy = "";
    const char *packetSize = "";
    bool hasCustomRange = false;
};

ExpansionInput InputOf(const String &range, const JobTexts &texts = {})
{
    ExpansionInput input;
    EXPECT_TRUE(SequenceDistributor::ParseRange(range, input.frames, nullptr)) << range;
    input.sequenceBy = texts.sequenceBy;
    input.renumberStart = texts.renumberStart;
    input.renumberBy = texts.renumberBy;
    input.packetSize = texts.packetSize;
    input.hasCustomRange = texts.hasCustomRange;
    return input;
}

String Found(const ExpansionInput &input)
{
    return SequenceDistributor::CalculateRange(FindFramesWithoutFile(input));
}

} // namespace

TEST(FramesWithoutFile, AreThoseThatSinglePrecisionMissesOrTakesForOthers)
{
    const struct
    {
        const char *what;
        const char *range;
        JobTexts texts;
        const char *frames;
    } cases[] = {
        {"small numbers", "1-240", {}, ""},
        {"the last that is counted", "16777215", {}, ""},
        {"the first that is not", "16777216", {}, "16777216"},
        {"beside a small one", "1,16777216", {}, "16777216"},
        {"a date", "20261120", {}, "20261120"},
        {"a date that is counted by chance", "20261122", {}, ""},
        {"negative", "-16777216", {}, ""},
        {"beyond it", "-16777217", {}, "-16777217"},
        {"it gets the file of another", "1,16777218", {}, "16777218"},
        {"in a custom range", "1,16777218", {.hasCustomRange = true}, "16777218"},
        {"each fourth", "20000000-20000040x4", {}, "20000000-20000040x4"},
        {"two millions of them", "20000000-29999999x4", {}, "20000000-29999996x4"},
        {"a run of each second frame", "20000000-20000009", {"2", "", "", "10"}, ""},
        {"a run of each third", "16777218-16777230", {"3", "", "", "13"}, "16777230"},
        {"a packet without a file", "1,16777219", {"3", "", "", "3"}, "16777219"},
        {"a step that moves nothing", "1,16777216", {"1e-30"}, ""},
        {"alone, it is not even tried", "16777216", {"1e-30"}, "16777216"},
        {"an endless step", "1-3", {"inf"}, ""},
        {"numbers that are not counted", "1-3", {"", "16777217"}, "1,3"},
        {"numbers that happen to be", "1-3", {"", "16777216", "2"}, ""},
        {"a second file of a frame", "1-2", {"0.5", "20261121"}, "2"},
        {"thirds are rounded as the walk does", "1-9", {"0.3333334"}, ""},
        {"also with large numbers", "1-2", {"0.3333333", "16777216"}, ""},
        {"a walk that is refused", "16777216-16777226", {}, ""},
        {"no packets", "20261120", {"", "", "", "0"}, ""},
        {"none", "", {}, ""},
    };
    for (const auto &[what, range, texts, frames] : cases)
        EXPECT_EQ(Found(InputOf(range, texts)), frames) << what;
}

TEST(FramesWithoutFile, AreNoneWhereEveryFrameHasTheFileOfItsNumber)
{
    // Without renumbering the files of a range are its frames.
    std::mt19937 random(5);
    int lossy = 0;
    for (int round = 0; round < 300; ++round)
    {
        ExpansionInput input;
        for (int i = 0; i < 5; ++i)
            input.frames.insert(int(16'777'000 + random() % 100'000) & ~1);
        Items files;
        const String reason = ExpandNumbers(*FramePattern::Parse("%d", nullptr), input,
                                            [&files](int number) { files.insert(number); });
        ASSERT_EQ(reason, "");
        Items without = input.frames;
        without.eraseAll(files);
        lossy += !without.empty();
        EXPECT_TRUE(FindFramesWithoutFile(input) == without) << "round " << round;
    }
    EXPECT_GT(lossy, 0);
}
