#include "check/pictures/DarkRules.h"

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

} // namespace
} // namespace check
