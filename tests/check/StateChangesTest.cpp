#include "check/StateChanges.h"

#include <gtest/gtest.h>

#include "tests/check/SampleTable.h"

namespace check
{
namespace
{

TEST(StateChanges, AreFoundByFrameWhateverTheOrderOfTheRows)
{
    using enum CheckState;
    const FrameStates before =
        StatesByFrame(SampleTable("/r/%d", {Ok, Missing, Missing, TooSmall}));
    CheckTable now = SampleTable("/r/%d", {Missing, Ok, Ok, TooSmall});
    std::swap(now.frames[0], now.frames[3]);
    std::swap(now.states[0], now.states[3]);

    const StateChanges changes = FindChanges(before, now);
    ASSERT_EQ(changes.size(), 2u);
    EXPECT_TRUE(changes.at({Missing, Ok}).frames == (corvan::SequenceDistributor::Items{2, 3}));
    EXPECT_EQ(changes.at({Missing, Ok}).firstRow, 1u);
    EXPECT_EQ(changes.at({Ok, Missing}).firstRow, 3u);
    EXPECT_TRUE(FindChanges(StatesByFrame(now), now).empty());
}

TEST(StateChanges, AreNamedByTheLowestOfTheirFramesHoweverTheRowsAreSorted)
{
    using enum CheckState;
    CheckTable now = SampleTable("/r/%d", {Ok, Ok, Ok});
    const FrameStates before = StatesByFrame(SampleTable("/r/%d", {Missing, Missing, Missing}));
    std::swap(now.frames[0], now.frames[2]);
    EXPECT_EQ(FindChanges(before, now).at({Missing, Ok}).firstRow, 2u);
}

} // namespace
} // namespace check
