#include "check/pictures/PassingThings.h"

#include <gtest/gtest.h>

#include "tests/check/pictures/SampleShot.h"

namespace check
{
namespace
{

constexpr std::size_t k_frame = 4;

// A bright square of 10 x 10 pixels before ground that stands still; `xOf` says where it is, below
// 0 for nowhere.
SampleShot ShotWithSquare(int (*xOf)(int frame))
{
    return MakeShot(9,
                    [xOf](int frame, int x, int y)
                    {
                        const int left = xOf(frame);
                        const bool isInside =
                            left >= 0 && x >= left && x < left + 10 && y >= 40 && y < 50;
                        return (isInside ? 3 : 1) * Ground(x, y);
                    });
}

struct Seen
{
    float alone = 0;  ///< Of the tile in the middle of the square.
    FoundAgain again; ///< Of the tiles that it covers.
};

// Of a square at x = 60 in the frame that is looked at.
Seen Look(const SampleShot &shot)
{
    const MeasuredShot measured(shot);
    const PictureSequence pictures(measured.Frames());
    const TileLooks looks(pictures);
    const std::size_t corner = 8 * 32 + 12;
    const TileGroup tiles{corner, corner + 1, corner + 32, corner + 33};
    return {AloneBy(looks, k_frame, corner), FindAgain(pictures, looks, k_frame, tiles)};
}

TEST(FindAgain, IsSmallForWhatIsThereInOneFrameOnly)
{
    const Seen seen = Look(ShotWithSquare([](int frame) { return frame == k_frame ? 60 : -1; }));
    EXPECT_GT(seen.alone, 1);
    EXPECT_LT(seen.again.share, 0.1);
    EXPECT_LT(seen.again.likeness, 0.1);
}

TEST(FindAgain, IsSmallForWhatIsMissingInOneFrameOnly)
{
    const Seen seen = Look(ShotWithSquare([](int frame) { return frame == k_frame ? -1 : 60; }));
    EXPECT_GT(seen.alone, 1);
    EXPECT_LT(seen.again.share, 0.1);
}

TEST(FindAgain, IsAboutOneForWhatGoesThrough)
{
    const Seen seen = Look(ShotWithSquare([](int frame) { return 60 + (frame - 4) * 20; }));
    EXPECT_GT(seen.alone, 1);
    EXPECT_GT(seen.again.share, 0.7);
    EXPECT_LT(seen.again.share, 1.5);
    EXPECT_GT(seen.again.likeness, 0.7);
    EXPECT_LE(seen.again.likeness, 1.001);
}

// A lamp shines on it in the frame that is looked at, and no other.
TEST(FindAgain, SeesTheLikenessOfWhatHasLittleLightElsewhere)
{
    const Seen seen = Look(MakeShot(9,
                                    [](int frame, int x, int y)
                                    {
                                        const int left = 60 + (frame - 4) * 20;
                                        const bool isInside =
                                            x >= left && x < left + 10 && y >= 40 && y < 50;
                                        const float times = frame == 4 ? 12 : 1.4f;
                                        return (isInside ? times : 1) * Ground(x, y);
                                    }));
    EXPECT_LT(seen.again.share, 0.4);
    EXPECT_GT(seen.again.likeness, 0.7);
}

TEST(FindAgain, IsAboutOneForWhatIsGoneInTheNextFrame)
{
    const Seen seen =
        Look(ShotWithSquare([](int frame) { return frame > 4 ? -1 : 60 + (frame - 4) * 20; }));
    EXPECT_GT(seen.again.share, 0.7);
}

TEST(FindAgain, LooksEightTilesFar)
{
    const Seen near = Look(ShotWithSquare([](int frame) { return 60 + (frame - 4) * 40; }));
    EXPECT_GT(near.again.share, 0.7);
    const Seen far = Look(ShotWithSquare([](int frame) { return 60 + (frame - 4) * 55; }));
    EXPECT_LT(far.again.share, 0.5);
}

TEST(FindAgain, OfTilesThatAreAsBesideIsNothing)
{
    const Seen seen = Look(StillShot(9));
    EXPECT_EQ(seen.alone, 0);
    EXPECT_EQ(seen.again.share, 0);
    EXPECT_EQ(seen.again.likeness, 0);
}

TEST(AloneBy, IsNothingWhereTheNeighboursAreAsUnlikeEachOther)
{
    // It has come, and stays; and a fade.
    EXPECT_EQ(Look(ShotWithSquare([](int frame) { return frame < 4 ? -1 : 60; })).alone, 0);
    const MeasuredShot fade(
        MakeShot(9, [](int frame, int x, int y) { return Ground(x, y) * float(frame + 1) / 9; }));
    const PictureSequence pictures(fade.Frames());
    EXPECT_EQ(AloneBy(TileLooks(pictures), k_frame, 100), 0);
}

} // namespace
} // namespace check
