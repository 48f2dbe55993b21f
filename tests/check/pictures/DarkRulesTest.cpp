#include "check/pictures/DarkRules.h"

#include <cstdlib>

#include <gtest/gtest.h>

#include "tests/check/pictures/SampleShot.h"

namespace check
{
namespace
{

constexpr int k_dark_frames = 24;
constexpr int k_dark = 12;
constexpr double k_out = -12; // Stops; of the ground nothing is left to speak of.

// A still shot in which the frames around one lose light, and that one has none.
SampleShot ShotThatLosesLight(double stopsBeside)
{
    SampleShot shot = StillShot(k_dark_frames);
    Expose(*shot[k_dark - 1], stopsBeside);
    Expose(*shot[k_dark], k_out);
    Expose(*shot[k_dark + 1], stopsBeside);
    return shot;
}

PictureFindings BlackFramesOf(const SampleShot &shot)
{
    const MeasuredShot measured(shot);
    return FindBlackFrames(PictureSequence(measured.Frames()));
}

PictureFindings FoundVoidsOf(const SampleShot &shot)
{
    const MeasuredShot measured(shot);
    return FindVoids(PictureSequence(measured.Frames()));
}

TEST(BlackFrames, AreNotOnTheirWayToBlack)
{
    EXPECT_TRUE(BlackFramesOf(ShotThatLosesLight(0)).contains(k_dark));
    EXPECT_TRUE(BlackFramesOf(ShotThatLosesLight(-0.5)).contains(k_dark))
        << "from there it would not be black";
    EXPECT_TRUE(BlackFramesOf(ShotThatLosesLight(-3)).empty())
        << "going on like that it has no light left";
}

// A corner that has hardly any light in a bright shot.
SampleShot ShotWithCorner(float light)
{
    SampleShot shot = StillShot(k_dark_frames);
    for (std::optional<SamplePicture> &picture : shot)
        Fill(*picture, {0, 0, 30, 30}, light);
    Fill(*shot[k_dark], {0, 0, 30, 30}, 0);
    return shot;
}

TEST(Voids, AreOfWhatWasLit)
{
    const PictureFindings lit = FoundVoidsOf(ShotWithCorner(0.3f));
    ASSERT_EQ(lit.size(), 1u);
    EXPECT_EQ(lit.begin()->first, std::size_t(k_dark));
    EXPECT_EQ(lit.begin()->second.place, (PicturePlace{0, 0, 30, 30}));

    EXPECT_TRUE(FoundVoidsOf(ShotWithCorner(0.002f)).empty()) << "nobody sees that it is black";
}

// A slow pan of tiles of 15 x 15 pixels; in one frame a block as large beside them as one of 64
// pixels is at 1,920 has no light.
SampleShot ShotWithBlock(int x, int y, std::size_t bad)
{
    SampleShot shot;
    for (int frame = 0; frame < k_dark_frames; ++frame)
    {
        SamplePicture &picture = shot.emplace_back().emplace(SamplePicture{480, 270});
        for (int row = 0; row < picture.height; ++row)
            for (int column = 0; column < picture.width; ++column)
                picture.At(column, row) = Ground(column / 3.0 + 0.2 * frame, row / 3.0);
    }
    Fill(*shot[bad], {x, y, 16, 16}, 0);
    return shot;
}

TEST(Voids, AreSmallBlocksWhereverTheyLie)
{
    for (const int offset : {0, 1, 4, 7, 8, 14})
    {
        const PicturePlace block{240 + offset, 135 - offset, 16, 16};
        const PictureFindings found = JudgeShot(ShotWithBlock(block.x, block.y, k_dark));
        ASSERT_EQ(found.size(), 1u) << offset;
        EXPECT_EQ(found.begin()->first, std::size_t(k_dark));
        EXPECT_EQ(found.begin()->second.state, CheckState::Patch);
        const PicturePlace place = found.begin()->second.place;
        EXPECT_LE(std::abs(place.x + place.width / 2 - block.x - 8), 15) << offset;
        EXPECT_LE(std::abs(place.y + place.height / 2 - block.y - 8), 15) << offset;
        EXPECT_LE(place.width, 30);
        EXPECT_LE(place.height, 30);
    }
}

void FillDisc(SamplePicture &picture, int x, int y, int radius)
{
    for (int row = -radius; row <= radius; ++row)
        for (int column = -radius; column <= radius; ++column)
            if (row * row + column * column <= radius * radius)
                picture.At(x + column, y + row) = 0;
}

// What is told of a frame with a block or a disc, where the next one has something alone elsewhere.
CheckState StateBesideACompanion(bool isBlock)
{
    SampleShot shot = StillShot(k_dark_frames);
    if (isBlock)
        Fill(*shot[k_dark], {73, 38, 9, 9}, 0);
    else
        FillDisc(*shot[k_dark], 77, 42, 5);
    Fill(*shot[k_dark + 1], {20, 20, 20, 15}, 0.9f);
    return JudgeShot(shot)[k_dark].state;
}

TEST(Voids, ThatAreRectanglesAreNothingThatPasses)
{
    EXPECT_EQ(StateBesideACompanion(true), CheckState::Patch);
    EXPECT_NE(StateBesideACompanion(false), CheckState::Patch) << "it may have gone there";
}

// Whether what one frame has black in a place, and those beside it have not, is told as a
// rectangle.
bool IsRectangle(const PicturePlace &place, const SamplePicture &before, const SamplePicture &now)
{
    SampleShot shot = StillShot(3);
    shot[0] = before;
    shot[1] = now;
    const MeasuredShot measured(shot);
    const PictureSequence pictures(measured.Frames());
    return IsBlackRectangle(pictures, 1, TilesIn(*pictures.At(1), place));
}

SamplePicture WithBlack(const std::vector<PicturePlace> &places)
{
    SamplePicture picture = *StillShot(1).front();
    for (const PicturePlace &place : places)
        Fill(picture, place, 0);
    return picture;
}

TEST(BlackRectangles, AreToldToThePixel)
{
    for (const PicturePlace &place :
         {PicturePlace{50, 30, 15, 10}, PicturePlace{52, 31, 13, 12}, PicturePlace{51, 33, 24, 6},
          PicturePlace{0, 0, 7, 8}, PicturePlace{148, 81, 12, 9}, PicturePlace{0, 30, 160, 60}})
        EXPECT_TRUE(IsRectangle(place, WithBlack({}), WithBlack({place})))
            << testing::PrintToString(place);
    // What was black before is none of it, and may be.
    EXPECT_TRUE(
        IsRectangle({71, 36, 13, 13}, WithBlack({{68, 30, 6, 9}}), WithBlack({{71, 36, 13, 13}})));
}

TEST(BlackRectangles, AreNoOtherShape)
{
    SamplePicture disc = WithBlack({});
    FillDisc(disc, 80, 45, 9);
    SamplePicture ring = WithBlack({{70, 35, 15, 15}});
    Fill(ring, {75, 40, 5, 5}, 0.3f);
    const struct
    {
        const char *what;
        SamplePicture picture;
    } cases[] = {
        {"a disc", disc},
        {"a ring of whole tiles", ring},
        {"an angle", WithBlack({{70, 35, 8, 20}, {70, 47, 20, 8}})},
        {"more of a corner", WithBlack({{70, 35, 7, 7}, {77, 40, 3, 2}})},
        {"a part of one tile", WithBlack({{71, 36, 3, 4}})},
    };
    for (const auto &[what, picture] : cases)
        EXPECT_FALSE(IsRectangle({70, 35, 20, 20}, WithBlack({}), picture)) << what;
}

TEST(Voids, AreLargerAtAnEndOfTheShot)
{
    // There a thing that moves has just one frame to be compared with.
    EXPECT_TRUE(FoundVoidsOf(ShotWithBlock(240, 135, 0)).empty());
    SampleShot shot = ShotWithBlock(240, 135, 0);
    Fill(*shot[0], {240, 135, 30, 30}, 0);
    EXPECT_EQ(FoundVoidsOf(shot).size(), 1u);
}

} // namespace
} // namespace check
