// What stands in each frame but one, and what is there in one alone.

#include "check/pictures/GoneRule.h"

#include <gtest/gtest.h>

#include "check/pictures/PictureRules.h"
#include "check/pictures/StandingOut.h"
#include "tests/check/pictures/SampleShot.h"
#include "tests/support/Printing.h"

namespace check
{
namespace
{

constexpr std::size_t k_gone_length = 30;
constexpr int k_gone_at = 14;

struct StandingThing
{
    PicturePlace place;
    float times;
    bool (*isThere)(int frame);
};

bool IsInPlace(const PicturePlace &place, int x, int y)
{
    return x >= place.x && x < place.x + place.width && y >= place.y && y < place.y + place.height;
}

SampleShot ShotWithThings(std::initializer_list<StandingThing> things)
{
    return MakeShot(k_gone_length,
                    [things](int frame, int x, int y)
                    {
                        float light = Ground(x, y);
                        for (const StandingThing &thing : things)
                            if (IsInPlace(thing.place, x, y) && thing.isThere(frame))
                                light *= thing.times;
                        return light;
                    });
}

bool InAllButOne(int frame)
{
    return frame != k_gone_at;
}
bool InOne(int frame)
{
    return frame == k_gone_at;
}
bool InTheNext(int frame)
{
    return frame == k_gone_at + 1;
}

constexpr PicturePlace k_gone_place{60, 40, 15, 20};
const StandingThing k_gone{k_gone_place, 4, InAllButOne};

PictureFindings Gone(const SampleShot &shot)
{
    const MeasuredShot measured(shot);
    const PictureSequence pictures(measured.Frames());
    return FindGone(pictures, LoneGroups(pictures, 0));
}

TEST(FindGone, FindsWhatIsMissingInOneFrame)
{
    const PictureFindings findings = Gone(ShotWithThings({k_gone}));
    ASSERT_EQ(findings.size(), 1u) << testing::PrintToString(findings);
    const auto &[frame, finding] = *findings.begin();
    EXPECT_EQ(frame, std::size_t(k_gone_at));
    EXPECT_EQ(finding.state, CheckState::Pop);
    // Tiles beside it see its edge.
    EXPECT_EQ(finding.place, (PicturePlace{55, 35, 25, 30}));
    EXPECT_EQ(finding.detail, "25x30 pixels at 55,35 stand out 31 percent as much as in the "
                              "frames before and after: something is gone there");
}

TEST(FindGone, SaysNothingOfWhatIsThereInOneFrame)
{
    EXPECT_EQ(Gone(ShotWithThings({{k_gone_place, 4, InOne}})), PictureFindings());
}

TEST(FindGone, SaysNothingWhereSomethingNearIsAloneInTheNextFrame)
{
    EXPECT_EQ(Gone(ShotWithThings({k_gone, {{85, 40, 15, 20}, 0.1f, InTheNext}})),
              PictureFindings());
    // Far away it is another thing, and no more is gone for it.
    EXPECT_EQ(Gone(ShotWithThings({k_gone, {{130, 5, 15, 20}, 0.1f, InTheNext}})).size(), 1u);
}

TEST(FindGone, SaysNothingOfWhatIsElsewhereInTheNextFrame)
{
    const auto moved = [](int frame) { return frame == k_gone_at + 1 || frame == k_gone_at + 2; };
    EXPECT_EQ(Gone(ShotWithThings({k_gone, {{100, 40, 15, 20}, 4, moved}})), PictureFindings());
}

// Of what is there for a moment at that time nobody knows whether it passes: the other rules say
// nothing.
TEST(PictureJudge, FindsWhatIsGoneInTheSecondFrame)
{
    const auto shotWith = [](bool (*isThere)(int frame)) {
        return ShotWithThings({{{60, 40, 15, 15}, 2, isThere}});
    };
    const PictureFindings findings = JudgeShot(shotWith([](int frame) { return frame != 1; }));
    ASSERT_EQ(findings.size(), 1u) << testing::PrintToString(findings);
    EXPECT_EQ(findings.begin()->first, 1u);
    EXPECT_NE(findings.begin()->second.detail.find("something is gone there"), std::string::npos);
    EXPECT_EQ(JudgeShot(shotWith([](int frame) { return frame == 1; })), PictureFindings());
}

class CompanionOfGone : public testing::Test
{
protected:
    bool Has(const PicturePlace &place, float times, Companions which) const
    {
        const MeasuredShot measured(
            ShotWithThings({{k_gone_place, 4, InOne}, {place, times, InTheNext}}));
        const PictureSequence pictures(measured.Frames());
        const LoneGroups lone(pictures, 1);
        return lone.HasCompanion(k_gone_at, TilesIn(*pictures.At(k_gone_at), k_gone_place), 0.25f,
                                 which);
    }
};

TEST_F(CompanionOfGone, IsNearHoweverItLooks)
{
    const PicturePlace near{85, 40, 15, 20};
    for (const Companions which : {Companions::Near, Companions::NearOrAlike, Companions::All})
    {
        EXPECT_TRUE(Has(near, 4, which));
        EXPECT_TRUE(Has(near, 0.1f, which));
    }
}

TEST_F(CompanionOfGone, FarAwayHasToBeAlike)
{
    const PicturePlace far{130, 5, 15, 20};
    EXPECT_FALSE(Has(far, 4, Companions::Near));
    EXPECT_TRUE(Has(far, 4, Companions::NearOrAlike));
    EXPECT_FALSE(Has(far, 0.1f, Companions::NearOrAlike));
    EXPECT_TRUE(Has(far, 0.1f, Companions::All));
}

TEST_F(CompanionOfGone, IsNoneWhereItIsMuchLess)
{
    EXPECT_FALSE(Has({85, 40, 5, 10}, 1.3f, Companions::All));
}

float StandingOutOf(const SampleShot &shot)
{
    const MeasuredShot measured(shot);
    const PictureSequence pictures(measured.Frames());
    return StandingOut(pictures, TileLooks(pictures), k_gone_at,
                       TilesIn(*pictures.At(k_gone_at), k_gone_place));
}

TEST(StandingOut, IsLessWhereAThingIsGoneAndMoreWhereOneCame)
{
    EXPECT_LT(StandingOutOf(ShotWithThings({k_gone})), 0.6);
    EXPECT_GT(StandingOutOf(ShotWithThings({{k_gone_place, 4, InOne}})), 1.7);
    EXPECT_FLOAT_EQ(StandingOutOf(ShotWithThings({})), 1);
}

TEST(StandingOut, IsOneWhereNothingDoesBeside)
{
    EXPECT_EQ(StandingOutOf(MakeShot(k_gone_length, [](int, int, int) { return 0.2f; })), 1);
}

TEST(Companions, AreNoneOfWhatIsNotAlone)
{
    SampleShot shot = StillShot(k_gone_length);
    Fill(*shot[12], {50, 30, 15, 15}, 0.9f);
    const MeasuredShot measured(shot);
    const PictureSequence pictures(measured.Frames());
    const LoneGroups lone(pictures, 0);
    const TileGroup tiles = TilesIn(*pictures.At(11), {50, 30, 15, 15});
    ASSERT_GT(lone.AloneBy(12, tiles.front()), 0);
    EXPECT_FALSE(lone.HasCompanion(11, tiles, 0.6f, Companions::All));
}

// No tile is beside the end of a row, nor is the first one of the next row.
TEST(StandingOut, LooksAtTilesOfThePictureOnly)
{
    // The tile that differs beside it is another in the frame between.
    const auto standingOut = [](std::size_t tile, const PicturePlace &other)
    {
        SampleShot shot =
            MakeShot(3, [](int, int x, int y) { return 0.2f + 0.002f * float(x + 2 * y); });
        Fill(*shot[1], other, 0.8f);
        const MeasuredShot measured(shot);
        const PictureSequence pictures(measured.Frames());
        return StandingOut(pictures, TileLooks(pictures), 1, {tile});
    };
    constexpr std::size_t k_endOfRow = 4 * 32 + 31;
    EXPECT_EQ(standingOut(k_endOfRow, {0, 25, 5, 5}), 1) << "the first of the next row";
    EXPECT_EQ(standingOut(k_endOfRow + 1, {155, 20, 5, 5}), 1) << "the last of the row before";
    EXPECT_GT(standingOut(k_endOfRow, {150, 20, 5, 5}), 1);
    EXPECT_GT(standingOut(k_endOfRow + 1, {5, 25, 5, 5}), 1);
    for (const std::size_t tile : {0u, 31u, 17u * 32, 17u * 32 + 31})
        EXPECT_EQ(standingOut(tile, {80, 45, 5, 5}), 1) << tile;
}

} // namespace
} // namespace check
