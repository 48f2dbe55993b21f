// Shots in which nothing is wrong, whatever happens in them: nobody is accused.

#include <algorithm>
#include <cmath>
#include <numbers>

#include <gtest/gtest.h>

#include "check/pictures/PictureJudge.h"
#include "tests/check/pictures/SampleShot.h"
#include "tests/support/Printing.h"

namespace check
{

namespace
{

constexpr int k_frames = 60;

struct GoodShot
{
    const char *name;
    SampleShot (*make)();

    friend void PrintTo(const GoodShot &shot, std::ostream *stream)
    {
        *stream << shot.name;
    }
};

// The ground as seen from a place that depends on the frame.
template <typename PlaceOf> SampleShot MovedShot(PlaceOf placeOf)
{
    return MakeShot(k_frames,
                    [&](int frame, int x, int y) { return Ground(x + placeOf(frame), y); });
}

// A slow pan in a light that depends on the frame, in stops.
template <typename LightOf> SampleShot LitShot(LightOf lightOf)
{
    return MakeShot(k_frames, [&](int frame, int x, int y)
                    { return Ground(x + 0.7 * frame, y) * float(std::exp2(lightOf(frame))); });
}

SampleShot Cut()
{
    return MakeShot(k_frames, [](int frame, int x, int y)
                    { return Ground(x + 0.7 * frame, y, frame < 30 ? 1 : 5); });
}

SampleShot FadeIn()
{
    return LitShot([](int frame) { return frame < 20 ? std::log2((frame + 0.001) / 20.0) : 0.0; });
}

SampleShot FadeOut()
{
    return LitShot([](int frame) { return frame > 40 ? std::log2((59.001 - frame) / 19.0) : 0.0; });
}

SampleShot Strobe()
{
    return LitShot([](int frame) { return frame % 10 == 5 ? 1.5 : 0.0; });
}

SampleShot Flash()
{
    return LitShot(
        [](int frame)
        {
            constexpr double k_stops[] = {0.6, 1.4, 1.5, 1.1, 0.5};
            return frame >= 28 && frame < 33 ? k_stops[frame - 28] : 0.0;
        });
}

SampleShot WhipPan()
{
    return MovedShot(
        [](int frame)
        {
            const int whip = std::clamp(frame - 28, 0, 4);
            return 0.7 * frame + 45 * whip;
        });
}

SampleShot Static()
{
    return StillShot(k_frames);
}

SampleShot SlowPan()
{
    return PanningShot(k_frames, 0.4);
}

SampleShot FastPan()
{
    return PanningShot(k_frames, 6);
}

SampleShot Hold()
{
    return MovedShot([](int frame)
                     { return 0.9 * (frame < 25 ? frame : std::max(25, frame - 9)); });
}

SampleShot OnTwos()
{
    return MovedShot([](int frame) { return 2.2 * (frame / 2); });
}

SampleShot OnThrees()
{
    return MovedShot([](int frame) { return 3.1 * (frame / 3); });
}

SampleShot LoopOfSix()
{
    return MovedShot([](int frame) { return 9.0 * (frame % 6); });
}

SampleShot Swing()
{
    return MovedShot([](int frame) { return std::abs(frame % 20 - 10); });
}

SampleShot SoftSwing()
{
    return MovedShot([](int frame) { return 14 * std::sin(2 * std::numbers::pi * frame / 17); });
}

template <int Period> SampleShot Flicker()
{
    return LitShot([](int frame) { return 0.2 * std::sin(2 * std::numbers::pi * frame / Period); });
}

SampleShot SwitchedOn()
{
    return LitShot([](int frame) { return frame >= 31 ? 0.9 : 0.0; });
}

SampleShot LampSwitchedOn()
{
    return MakeShot(k_frames,
                    [](int frame, int x, int y)
                    {
                        const double far = std::hypot(x - 120, y - 20);
                        const float lamp = frame >= 31 ? float(std::exp(-far / 20)) : 0;
                        return Ground(x + 0.7 * frame, y) * (1 + 2 * lamp);
                    });
}

SampleShot ObjectGoesOver()
{
    return ShotWithObject(k_frames);
}

// In each frame somewhere else, as what flies before a camera.
SampleShot ObjectInEachFrame()
{
    return MakeShot(k_frames,
                    [](int frame, int x, int y)
                    {
                        const int left = frame * 17 % 150;
                        const bool isObject = x >= left && x < left + 14 && y >= 30 && y < 44;
                        return isObject ? 2.0f : Ground(x, y);
                    });
}

// Black, close to the camera and in sight for three frames, and of another shape in each.
SampleShot BirdGoesBy()
{
    return MakeShot(k_frames,
                    [](int frame, int x, int y)
                    {
                        const int flown = frame - 20;
                        const double across = x - 25 - 52 * flown;
                        const double down = y - 40 + 9 * flown;
                        const double wing = flown == 1 ? 1.3 : 0.9;
                        const bool isBird =
                            flown >= 0 && flown < 3 && std::hypot(across * wing, down / wing) < 9;
                        return isBird ? 0.0f : Ground(x, y);
                    });
}

// Out of sight from the third frame on, so that nobody sees it move.
SampleShot BirdAtTheBeginning()
{
    return MakeShot(k_frames,
                    [](int frame, int x, int y)
                    {
                        const double across = x - 20 - 70 * frame;
                        const bool isBird = frame < 2 && std::hypot(across, (y - 40) / 1.3) < 6;
                        return isBird ? 0.9f : Ground(x, y);
                    });
}

// Windows that are all the same go by, faster than they are wide.
SampleShot TrainGoesBy()
{
    return MakeShot(k_frames,
                    [](int frame, int x, int y)
                    {
                        const int along = 9 * frame - x;
                        if (y < 25 || y >= 65 || along < 0 || along > 330)
                            return Ground(x, y);
                        const bool isWindow = along % 31 < 14 && y >= 33 && y < 50;
                        return isWindow ? 0.9f : 0.15f;
                    });
}

SampleShot WheelTurns()
{
    return MakeShot(k_frames,
                    [](int frame, int x, int y)
                    {
                        const double across = x - 80;
                        const double down = y - 45;
                        if (std::hypot(across, down) > 28)
                            return Ground(x, y);
                        const double turned = std::atan2(down, across) + 0.31 * frame;
                        return float(0.3 + 0.25 * std::sin(5 * turned));
                    });
}

template <SampleShot (*Make)()> SampleShot WithGaps()
{
    SampleShot shot = Make();
    for (const std::size_t frame : {7u, 20u, 21u, 22u, 33u, 35u, 41u, 42u, 43u, 44u, 45u})
        shot[frame].reset();
    return shot;
}

template <SampleShot (*Make)()> SampleShot EachSecondIsMissing()
{
    SampleShot shot = Make();
    for (std::size_t frame = 1; frame < shot.size(); frame += 2)
        shot[frame].reset();
    return shot;
}

SampleShot OfOtherSizes()
{
    SampleShot shot = PanningShot(k_frames);
    for (const std::size_t frame : {11u, 12u, 30u})
        shot[frame] = {80, 90};
    return shot;
}

SampleShot AllNull()
{
    return SampleShot(k_frames);
}

SampleShot AllBlack()
{
    return MakeShot(k_frames, [](int, int, int) { return 0.0f; });
}

// Not a pixel is like that of the frame before.
SampleShot BlackWithNoise()
{
    SampleShot shot = MakeShot(k_frames, [](int, int, int) { return 0.0003f; });
    AddNoise(shot, 1);
    return shot;
}

SampleShot BlackThenLit()
{
    SampleShot shot = PanningShot(k_frames);
    for (std::size_t frame = 0; frame < 30; ++frame)
        Expose(*shot[frame], -30);
    return shot;
}

template <int Frames> SampleShot Short()
{
    return PanningShot(Frames);
}

const GoodShot k_shots[] = {
    {"Static", Static},
    {"SlowPan", SlowPan},
    {"FastPan", FastPan},
    {"WhipPan", WhipPan},
    {"Cut", Cut},
    {"FadeIn", FadeIn},
    {"FadeOut", FadeOut},
    {"Flash", Flash},
    {"Strobe", Strobe},
    {"Hold", Hold},
    {"OnTwos", OnTwos},
    {"OnThrees", OnThrees},
    {"LoopOfSix", LoopOfSix},
    {"Swing", Swing},
    {"SoftSwing", SoftSwing},
    {"FlickerOfSix", Flicker<6>},
    {"FlickerOfTwelve", Flicker<12>},
    {"SwitchedOn", SwitchedOn},
    {"LampSwitchedOn", LampSwitchedOn},
    {"ObjectGoesOver", ObjectGoesOver},
    {"ObjectInEachFrame", ObjectInEachFrame},
    {"BirdGoesBy", BirdGoesBy},
    {"BirdAtTheBeginning", BirdAtTheBeginning},
    {"TrainGoesBy", TrainGoesBy},
    {"WheelTurns", WheelTurns},
    {"PanWithGaps", WithGaps<FastPan>},
    {"ObjectWithGaps", WithGaps<ObjectInEachFrame>},
    {"WheelWithGaps", WithGaps<WheelTurns>},
    {"WhipWithGaps", WithGaps<WhipPan>},
    {"EachSecondOfAPan", EachSecondIsMissing<FastPan>},
    {"EachSecondOfAFlicker", EachSecondIsMissing<Flicker<12>>},
    {"OfOtherSizes", OfOtherSizes},
    {"AllNull", AllNull},
    {"AllBlack", AllBlack},
    {"BlackWithNoise", BlackWithNoise},
    {"BlackThenLit", BlackThenLit},
    {"NoFrames", Short<0>},
    {"OneFrame", Short<1>},
    {"TwoFrames", Short<2>},
    {"ThreeFrames", Short<3>},
};

class GoodPictures : public testing::TestWithParam<GoodShot>
{
};

TEST_P(GoodPictures, AreNotAccused)
{
    EXPECT_EQ(JudgeShot(GetParam().make()), PictureFindings());
}

TEST_P(GoodPictures, AreNotAccusedInNoise)
{
    SampleShot shot = GetParam().make();
    AddNoise(shot, 0.3);
    EXPECT_EQ(JudgeShot(shot), PictureFindings());
}

INSTANTIATE_TEST_SUITE_P(Each, GoodPictures, testing::ValuesIn(k_shots),
                         [](const auto &shot) { return std::string(shot.param.name); });

} // namespace
} // namespace check
