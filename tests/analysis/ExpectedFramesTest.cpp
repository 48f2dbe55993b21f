#include "analysis/ExpectedFrames.h"

#include <random>
#include <set>

#include <gtest/gtest.h>

#include "analysis/FileInfo.h"

using namespace analysis;
using Items = SequenceDistributor::Items;

namespace
{

std::vector<int> Listed(const char *pattern, const ExpansionInput &input, String *reason = nullptr)
{
    std::vector<FrameRecord> frames(3);
    const String why = ListExpectedFrames(*FramePattern::Parse(pattern, nullptr), input, frames);
    if (reason)
        *reason = why;
    std::vector<int> numbers;
    for (const FrameRecord &frame : frames)
        numbers.push_back(frame.frame);
    return numbers;
}

/// The rows that the window's table gets.
std::vector<int> RowsOfTheTable(const char *pattern, const ExpansionInput &input)
{
    _FileInfoList files;
    ExpandFrames(*FramePattern::Parse(pattern, nullptr), input,
                 [&files](const Path &path, int number) { files.Append(path, number); });
    std::vector<int> numbers;
    for (const _FileInfo &file : files.get<_FileInfoList::list>())
        numbers.push_back(file.frame);
    return numbers;
}

} // namespace

TEST(ExpectedFrames, AreTheRowsOfTheFileTableWhateverThePatternAndTheNumbers)
{
    constexpr const char *k_patterns[] = {"/r/f.%d", "/r/f.%04d", "%hhd",      "/r/%hhx/f",
                                          "a%ho.b",  "%.0d",      "/r/%+5d%%", "%-3d",
                                          "%lld",    "% .3d",     "/r/%#X.exr"};
    constexpr const char *k_bys[] = {"", "0.5", "1", "2", "0.3", "7"};
    std::mt19937 random(5);
    for (int round = 0; round < 2000; ++round)
    {
        ExpansionInput input;
        for (int parts = int(random() % 4) + 1; parts > 0; --parts)
        {
            const int first = int(random() % 700) - 350;
            input.frames.insertRange(first, first + int(random() % 40));
        }
        input.hasCustomRange = random() % 8 == 0;
        input.sequenceBy = k_bys[random() % std::size(k_bys)];
        if (random() % 2)
            input.renumberStart = std::to_string(int(random() % 600) - 300);
        if (random() % 2)
            input.renumberBy = std::to_string(random() % 5);
        if (random() % 2)
            input.packetSize = std::to_string(random() % 30 + 1);
        const char *const pattern = k_patterns[random() % std::size(k_patterns)];
        ASSERT_EQ(Listed(pattern, input), RowsOfTheTable(pattern, input))
            << pattern << " round " << round;
    }
}

TEST(ExpectedFrames, AreNoneWithTheReasonWhereTheWalkIsRefused)
{
    ExpansionInput input;
    input.frames = {1, 2};
    input.packetSize = "0";
    String reason;
    EXPECT_TRUE(Listed("%d", input, &reason).empty());
    EXPECT_EQ(reason, "a packet size of 0 is below 1");
}
