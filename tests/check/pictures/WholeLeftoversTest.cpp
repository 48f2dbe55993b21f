#include "check/pictures/WholeLeftovers.h"

#include <gtest/gtest.h>

#include "check/pictures/LeftoverRule.h"
#include "tests/check/pictures/SampleShot.h"

namespace check
{
namespace
{

constexpr std::size_t k_whole_at = 20;
constexpr std::size_t k_whole_age = 5;
// A thing of four tiles lights up for a while; what is around it stands still. Elsewhere is grain.
constexpr PicturePlace k_whole_thing{60, 35, 10, 10};
constexpr PicturePlace k_whole_still{40, 20, 60, 50};
constexpr PicturePlace k_whole_block{50, 30, 30, 20};

// For two frames: one alone would be the older frame of what comes before it.
void ShowThing(SampleShot &shot, std::size_t frame, const PicturePlace &place = k_whole_thing)
{
    Fill(*shot[frame - 1], place, 0.9f);
    Fill(*shot[frame], place, 0.9f);
}

SampleShot ShotOfThing(bool isGrainy = true)
{
    const SampleShot still = StillShot(60);
    SampleShot shot = still;
    if (isGrainy)
        AddNoise(shot, 0.1);
    for (std::size_t frame = 0; frame < shot.size(); ++frame)
        CopyPlace(*shot[frame], *still[frame], k_whole_still);
    ShowThing(shot, k_whole_at - k_whole_age);
    return shot;
}

void LeaveBlock(SampleShot &shot, std::size_t frame = k_whole_at)
{
    CopyPlace(*shot[frame], *shot[frame - k_whole_age], k_whole_block);
}

PictureFindings FoundIn(const SampleShot &shot)
{
    const MeasuredShot measured(shot);
    return FindLeftovers(PictureSequence(measured.Frames()));
}

TEST(WholeLeftovers, SayTogetherWhatTooFewTilesSayAlone)
{
    EXPECT_EQ(FoundIn(ShotOfThing()), PictureFindings());
    SampleShot shot = ShotOfThing();
    LeaveBlock(shot);
    const PictureFindings found = FoundIn(shot);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found.begin()->first, k_whole_at);
    EXPECT_EQ(found.begin()->second.place, k_whole_thing);
}

TEST(WholeLeftovers, HaveNoTileWithOtherPixels)
{
    for (const bool isWhole : {true, false})
    {
        SampleShot shot = ShotOfThing();
        ShowThing(shot, k_whole_at - k_whole_age, {60, 35, 15, 10});
        LeaveBlock(shot);
        if (!isWhole)
            shot[k_whole_at]->At(66, 36) *= 1.01f;
        EXPECT_EQ(FoundIn(shot).size(), isWhole ? 1u : 0u);
    }
}

TEST(WholeLeftovers, AreToldByWhatMovesElsewhere)
{
    SampleShot shot = ShotOfThing();
    LeaveBlock(shot);
    for (const std::size_t frame : {k_whole_at - k_whole_age - 1, k_whole_at})
        CopyPlace(*shot[frame], *shot[k_whole_at - k_whole_age], {120, 70, 5, 5});
    EXPECT_EQ(FoundIn(shot), PictureFindings()) << "there are tiles of that frame elsewhere";

    shot = ShotOfThing(false);
    LeaveBlock(shot);
    EXPECT_EQ(FoundIn(shot), PictureFindings()) << "nothing moves, so nobody knows";
}

TEST(WholeLeftovers, AreNotSeenBothBeforeAndAfter)
{
    SampleShot shot = ShotOfThing();
    LeaveBlock(shot);
    for (std::size_t frame = k_whole_at + 10; frame < k_whole_at + 13; ++frame)
        ShowThing(shot, frame);
    EXPECT_EQ(FoundIn(shot), PictureFindings());
}

TEST(WholeLeftovers, DoNotComeRound)
{
    for (const std::size_t later : {27u, 28u})
    {
        SampleShot shot = ShotOfThing();
        LeaveBlock(shot);
        ShowThing(shot, k_whole_at + later - k_whole_age);
        LeaveBlock(shot, k_whole_at + later);
        EXPECT_EQ(FoundIn(shot).size(), later == 27u ? 0u : 2u) << later;
    }
    // Another thing elsewhere is no reason.
    SampleShot shot = ShotOfThing();
    LeaveBlock(shot);
    const PicturePlace other{45, 55, 10, 10};
    ShowThing(shot, k_whole_at + 15, other);
    CopyPlace(*shot[k_whole_at + 20], *shot[k_whole_at + 15], other);
    EXPECT_EQ(FoundIn(shot).size(), 2u);
}

} // namespace
} // namespace check
