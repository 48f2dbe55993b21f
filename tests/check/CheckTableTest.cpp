#include "check/CheckTable.h"

#include <gtest/gtest.h>

#include "tests/check/SampleTable.h"

namespace check
{
namespace
{

TEST(CheckState, HasATextForEachState)
{
    std::vector<std::string_view> texts;
    for (const CheckState state : k_CheckStates)
        texts.push_back(StateText(state));
    EXPECT_EQ(texts,
              (std::vector<std::string_view>{"ok", "missing", "too-small", "outlier", "undecodable",
                                             "odd-image", "blank", "nan", "duplicate", "black",
                                             "patch", "pop", "sparks", "changed"}));
}

TEST(CheckState, TakesOverTheVerdictOfTheScan)
{
    EXPECT_EQ(StateOf(analysis::FrameState::Ok), CheckState::Ok);
    EXPECT_EQ(StateOf(analysis::FrameState::Missing), CheckState::Missing);
    EXPECT_EQ(StateOf(analysis::FrameState::TooSmall), CheckState::TooSmall);
    EXPECT_EQ(StateOf(analysis::FrameState::Outlier), CheckState::Outlier);
}

TEST(CheckTable, CountsAndFindsFramesByState)
{
    const CheckTable table = SampleTable(
        "/r/f.%02d", {CheckState::Ok, CheckState::Missing, CheckState::Nan, CheckState::Missing});
    const StateCounts counts = CountStates(table);
    EXPECT_EQ(counts, (StateCounts{1, 2, 0, 0, 0, 0, 0, 1}));

    using corvan::SequenceDistributor;
    EXPECT_TRUE(FindBadFrames(table) == (SequenceDistributor::Items{2, 3, 4}));
    EXPECT_TRUE(FindFrames(table, CheckState::Missing) == (SequenceDistributor::Items{2, 4}));
    EXPECT_TRUE(FindFrames(table, CheckState::Blank).empty());
}

TEST(CheckTable, NamesTheFileOfARow)
{
    EXPECT_EQ(SampleTable("/r/f.%02d", {CheckState::Ok, CheckState::Ok}).PathOf(1),
              ostrel::Path("/r/f.02"));
}

} // namespace
} // namespace check
