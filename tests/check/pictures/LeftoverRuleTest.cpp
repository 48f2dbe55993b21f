#include "check/pictures/LeftoverRule.h"

#include <cmath>
#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "tests/check/pictures/SampleShot.h"

namespace check
{
namespace
{

constexpr std::size_t k_copied = 20;
constexpr PicturePlace k_copiedPlace{50, 30, 20, 15};

PictureFindings FindIn(const SampleShot &shot)
{
    const MeasuredShot measured(shot);
    return FindLeftovers(PictureSequence(measured.Frames()));
}

// A shot in which nothing moves but what is between pixels: little, and other in each frame.
SampleShot Grainy(int frames = 40)
{
    SampleShot shot = StillShot(frames);
    AddNoise(shot, 0.1);
    return shot;
}

void CopyBack(SampleShot &shot, std::size_t age, const PicturePlace &place = k_copiedPlace,
              std::size_t frame = k_copied)
{
    CopyPlace(*shot[frame], *shot[frame - age], place);
}

TEST(Leftovers, HaveTheVeryPixelsOfAnOlderFrame)
{
    for (const std::size_t age : {2u, 5u, 12u})
    {
        SampleShot shot = Grainy();
        CopyBack(shot, age);
        const PictureFindings found = FindIn(shot);
        ASSERT_EQ(found.size(), 1u) << age;
        EXPECT_EQ(found.begin()->first, k_copied);
        EXPECT_EQ(found.begin()->second.state, CheckState::Patch);
        EXPECT_EQ(found.begin()->second.place, k_copiedPlace);
        EXPECT_EQ(found.begin()->second.detail,
                  "20x15 pixels at 50,30 have the very pixels of the frame " + std::to_string(age) +
                      " before it, not those of the frames before and after");
    }
    EXPECT_EQ(FindIn(Grainy()), PictureFindings());
}

TEST(Leftovers, AreNotNearlyThose)
{
    SampleShot shot = Grainy();
    CopyBack(shot, 5);
    for (int y = 30; y < 45; ++y)
        for (int x = 50; x < 70; ++x)
            shot[k_copied]->At(x, y) *= 1.00001f;
    EXPECT_EQ(FindIn(shot), PictureFindings());
}

TEST(Leftovers, AreNeitherYoungerNorOlderThanWhatRendersAtATime)
{
    for (const std::size_t age : {1u, 13u})
    {
        SampleShot shot = Grainy();
        CopyBack(shot, age);
        EXPECT_EQ(FindIn(shot), PictureFindings()) << age;
    }
}

TEST(Leftovers, AreMoreThanATileOrTwoAndLessThanMostOfThePicture)
{
    const struct
    {
        PicturePlace place;
        std::size_t count;
    } cases[] = {
        {{50, 30, 10, 10}, 0},                                            // Four tiles.
        {{50, 30, 15, 10}, 1}, {{50, 30, 5, 40}, 0},                      // One wide.
        {{50, 30, 60, 5}, 0},  {{0, 0, 80, 35}, 1},  {{0, 0, 80, 40}, 0}, // More than a fifth.
    };
    for (const auto &[place, count] : cases)
    {
        SampleShot shot = Grainy();
        CopyBack(shot, 5, place);
        EXPECT_EQ(FindIn(shot).size(), count) << testing::PrintToString(place);
    }
}

// A lamp that is on in two frames, and the wall behind it in all others.
TEST(Leftovers, AreNotWhatIsSeenThereAsARule)
{
    SampleShot shot = StillShot(40);
    for (const std::size_t frame : {k_copied - 1, k_copied + 1})
        Fill(*shot[frame], k_copiedPlace, 2);
    EXPECT_EQ(FindIn(shot), PictureFindings());
    // Where the camera has left what was there, it is not seen after.
    for (std::size_t frame = k_copied - 1; frame < shot.size(); ++frame)
        shot[frame] = PanningShot(40)[frame];
    CopyBack(shot, 5);
    EXPECT_EQ(FindIn(shot).size(), 1u);
}

TEST(Leftovers, AreNotWhatComesRoundOrSwings)
{
    const auto moved = [](const std::function<double(int)> &placeOf)
    {
        return MakeShot(60,
                        [&](int frame, int x, int y)
                        {
                            const bool isInside = x >= 50 && x < 70 && y >= 30 && y < 45;
                            return Ground(isInside ? x + placeOf(frame) : x, y);
                        });
    };
    EXPECT_EQ(FindIn(moved([](int frame) { return 1.3 * (frame % 7); })), PictureFindings());
    EXPECT_EQ(FindIn(moved([](int frame) { return 1.3 * std::abs(frame % 30 - 15); })),
              PictureFindings());
}

TEST(Leftovers, AreFarMoreThanComesAgainElsewhere)
{
    // Tiles here and there are those of the same frame, as in pictures of few colours.
    const auto scatter = [](SampleShot &shot)
    {
        for (int x = 0; x < 160; x += 20)
            for (int y = 60; y < 90; y += 10)
                CopyBack(shot, 5, {x, y, 5, 5});
    };
    SampleShot shot = Grainy();
    CopyBack(shot, 5);
    scatter(shot);
    EXPECT_EQ(FindIn(shot), PictureFindings());

    // And those that other frames of the time around have by themselves.
    shot = Grainy();
    CopyBack(shot, 5);
    CopyBack(shot, 3, {100, 10, 10, 10}, k_copied - 4);
    EXPECT_EQ(FindIn(shot).size(), 1u);
    CopyBack(shot, 3, {100, 10, 15, 15}, k_copied - 4);
    EXPECT_EQ(FindIn(shot), PictureFindings());
}

TEST(Leftovers, AreNotWhatDiffersLessThanAnyEyeSees)
{
    SampleShot shot = StillShot(40);
    AddNoise(shot, 0.002);
    CopyBack(shot, 5);
    EXPECT_EQ(FindIn(shot), PictureFindings());
}

} // namespace
} // namespace check
