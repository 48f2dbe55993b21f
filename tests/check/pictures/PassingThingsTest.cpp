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
    float alone = 0; ///< Of the tile in the middle of the square.
    float share = 0; ///< Of the tiles that it covers.
};

// Of a square at x = 60 in the frame that is looked at.
Seen Look(const SampleShot &shot)
{
    const MeasuredShot measured(shot);
    const PictureSequence pictures(measured.Frames());
    const TileLooks looks(pictures);
    const std::size_t corner = 8 * 32 + 12;
    const TileGroup tiles{corner, corner + 1, corner + 32, corner + 33};
    return {AloneBy(looks, k_frame, corner), PassingShare(pictures, looks, k_frame, tiles)};
}

TEST(PassingShare, IsSmallForWhatIsThereInOneFrameOnly)
{
    const Seen seen = Look(ShotWithSquare([](int frame) { return frame == k_frame ? 60 : -1; }));
    EXPECT_GT(seen.alone, 1);
    EXPECT_LT(seen.share, 0.1);
}

TEST(PassingShare, IsSmallForWhatIsMissingInOneFrameOnly)
{
    const Seen seen = Look(ShotWithSquare([](int frame) { return frame == k_frame ? -1 : 60; }));
    EXPECT_GT(seen.alone, 1);
    EXPECT_LT(seen.share, 0.1);
}

TEST(PassingShare, IsAboutOneForWhatGoesThrough)
{
    const Seen seen = Look(ShotWithSquare([](int frame) { return 60 + (frame - 4) * 20; }));
    EXPECT_GT(seen.alone, 1);
    EXPECT_GT(seen.share, 0.7);
    EXPECT_LT(seen.share, 1.5);
}

TEST(PassingShare, IsAboutOneForWhatIsGoneInTheNextFrame)
{
    const Seen seen =
        Look(ShotWithSquare([](int frame) { return frame > 4 ? -1 : 60 + (frame - 4) * 20; }));
    EXPECT_GT(seen.share, 0.7);
}

TEST(PassingShare, LooksEightTilesFar)
{
    const Seen near = Look(ShotWithSquare([](int frame) { return 60 + (frame - 4) * 40; }));
    EXPECT_GT(near.share, 0.7);
    const Seen far = Look(ShotWithSquare([](int frame) { return 60 + (frame - 4) * 55; }));
    EXPECT_LT(far.share, 0.5);
}

TEST(PassingShare, OfTilesThatAreAsBesideIsNothing)
{
    const Seen seen = Look(StillShot(9));
    EXPECT_EQ(seen.alone, 0);
    EXPECT_EQ(seen.share, 0);
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
