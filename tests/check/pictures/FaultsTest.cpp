// What a judge of pictures finds of shots with one fault each.

#include <cmath>
#include <regex>

#include <gtest/gtest.h>

#include "check/pictures/PictureJudge.h"
#include "tests/check/pictures/SampleShot.h"
#include "tests/support/Printing.h"

namespace check
{

namespace
{

constexpr std::size_t k_length = 48;
constexpr std::size_t k_bad = 23;
constexpr PicturePlace k_all{0, 0, 160, 90};

struct Fault
{
    const char *name;
    SampleShot (*makeShot)();
    void (*damage)(SampleShot &);
    CheckState state;
    PicturePlace place; ///< Of the damage.
    int beside;         ///< How many pixels more on each side may be told as its place.
    const char *detail; ///< What it begins with; a number in parentheses is how far.
    double least;
    double most;

    friend void PrintTo(const Fault &fault, std::ostream *stream)
    {
        *stream << fault.name;
    }
};

SamplePicture &Bad(SampleShot &shot)
{
    return *shot[k_bad];
}

SampleShot Still()
{
    return StillShot(k_length);
}

SampleShot Panning()
{
    return PanningShot(k_length);
}

SampleShot WithObject()
{
    return ShotWithObject(k_length);
}

// Black, and in sight for three frames from the bad one on, far from each other.
SampleShot WithBird()
{
    return MakeShot(k_length,
                    [](int frame, int x, int y)
                    {
                        const int flown = frame - int(k_bad);
                        const double across = x - 20 - 60 * flown;
                        const bool isBird =
                            flown >= 0 && flown < 3 && std::hypot(across, y - 20) < 9;
                        return isBird ? 0.0f : Ground(x, y);
                    });
}

SampleShot Noisy()
{
    SampleShot shot = StillShot(k_length);
    AddNoise(shot, 0.3);
    return shot;
}

SampleShot NoisyPan()
{
    SampleShot shot = PanningShot(k_length, 0.4);
    AddNoise(shot, 0.3);
    return shot;
}

// Something that is there for three frames and does not move.
SampleShot WithWhatComesAndGoes()
{
    SampleShot shot = PanningShot(k_length);
    for (const std::size_t frame : {k_bad - 1, k_bad, k_bad + 1})
        CopyPlace(*shot[frame], *shot[k_length - 1], {55, 25, 40, 30});
    return shot;
}

template <int X, int Y, int Width, int Height> void Blacken(SampleShot &shot)
{
    Fill(Bad(shot), {X, Y, Width, Height}, 0);
}

template <int Age> void MakeStale(SampleShot &shot)
{
    CopyPlace(Bad(shot), *shot[k_bad - Age], {55, 25, 40, 30});
}

// Nearly, as formats with loss leave it. Of the tiles at the rim of it, what is beside them
// differs: those within are told.
void MakeAlmostStale(SampleShot &shot)
{
    CopyPlace(Bad(shot), *shot[k_bad - 5], {55, 25, 40, 30});
    for (int y = 25; y < 55; ++y)
        for (int x = 55; x < 95; ++x)
            Bad(shot).At(x, y) *= (x + y) % 2 == 0 ? 1.0005f : 0.9995f;
}

void MakeBlack(SampleShot &shot)
{
    Expose(Bad(shot), -8.6);
}

void MakeAllBlack(SampleShot &shot)
{
    Fill(Bad(shot), k_all, 0);
}

void Repeat(SampleShot &shot)
{
    shot[k_bad] = shot[k_bad - 1];
}

template <int Hundredths> void ExposeBad(SampleShot &shot)
{
    Expose(Bad(shot), Hundredths / 100.0);
}

void MakeCoarse(SampleShot &shot)
{
    AddNoise(Bad(shot), 0.5, 99);
}

// What stands there in all other frames is so many times brighter than the ground.
void PutIntoOthers(SampleShot &shot, const PicturePlace &place, float times)
{
    for (std::size_t frame = 0; frame < shot.size(); ++frame)
        if (frame != k_bad)
            for (int y = place.y; y < place.y + place.height; ++y)
                for (int x = place.x; x < place.x + place.width; ++x)
                    shot[frame]->At(x, y) *= times;
}

void TakeAway(SampleShot &shot)
{
    PutIntoOthers(shot, {100, 40, 15, 15}, 3);
}

// Beside something that goes by so near that the light alone says nothing.
void TakeAwayBesideTheObject(SampleShot &shot)
{
    PutIntoOthers(shot, {45, 55, 15, 15}, 1.2f);
}

void TakeAwayBelow(SampleShot &shot)
{
    PutIntoOthers(shot, {60, 65, 20, 20}, 1.6f);
}

// Detail comes and goes without any light.
void RoughenAPlace(SampleShot &shot)
{
    for (int y = 40; y < 55; ++y)
        for (int x = 60; x < 80; ++x)
            Bad(shot).At(x, y) *= (x + y) % 2 == 0 ? 1.4f : 0.6f;
}

// So that as many tiles become brighter as darker, and all together no level jumps.
void TakeHalfFromElsewhere(SampleShot &shot)
{
    for (int y = 0; y < 90; ++y)
        for (int x = 0; x < 80; ++x)
            Bad(shot).At(x, y) = Ground(x, y, 5);
}

// So little beyond what is around that each alone says nothing: there is a glint beside each.
void AddManySparks(SampleShot &shot)
{
    for (auto &picture : shot)
        for (int x = 12; x < 150; x += 10)
            for (int y = 12; y < 80; y += 10)
                picture->At(x, y) = 3;
    for (int x = 17; x < 100; x += 10)
        for (int y = 17; y < 40; y += 10)
            Bad(shot).At(x, y) = 3;
}

void AddStrongSparks(SampleShot &shot)
{
    Bad(shot).At(31, 22) = 20;
    Bad(shot).At(120, 71) = 20;
}

void AddOneSpark(SampleShot &shot)
{
    Bad(shot).At(77, 33) = 20;
}

const Fault k_faults[] = {
    {"DuplicateInAPan", Panning, Repeat, CheckState::Duplicate, k_all, 0,
     "the same pixels as in the frame before", 0, 0},
    {"DuplicateOfNoise", Noisy, Repeat, CheckState::Duplicate, k_all, 0,
     "the same pixels as in the frame before", 0, 0},
    {"BlackFrame", Panning, MakeAllBlack, CheckState::Black, k_all, 0,
     R"((\d+\.\d) stops darker than the frames before and after)", 8, 25},
    {"NearlyBlackFrame", Panning, MakeBlack, CheckState::Black, k_all, 0,
     R"((\d+\.\d) stops darker than the frames before and after)", 8.5, 8.7},
    {"BlackFrameOfAStillShot", Still, MakeBlack, CheckState::Black, k_all, 0,
     R"((\d+\.\d) stops darker than the frames before and after)", 8.5, 8.7},
    {"BlackTiles",
     Panning,
     Blacken<40, 30, 20, 15>,
     CheckState::Patch,
     {40, 30, 20, 15},
     0,
     "20x15 pixels at 40,30 are black, and not so in the frames beside it",
     0,
     0},
    {"BlackTilesInTheCorner",
     Still,
     Blacken<140, 75, 20, 15>,
     CheckState::Patch,
     {140, 75, 20, 15},
     0,
     "20x15 pixels at 140,75 are black, and not so in the frames beside it",
     0,
     0},
    // The frame after is as the one before, and unlike those next to it.
    {"BlackTilesBesideWhatLooksStale",
     WithWhatComesAndGoes,
     Blacken<55, 25, 40, 30>,
     CheckState::Patch,
     {55, 25, 40, 30},
     0,
     "40x30 pixels at 55,25 are black, and not so in the frames beside it",
     0,
     0},
    {"BlackBand",
     Noisy,
     Blacken<0, 45, 160, 10>,
     CheckState::Patch,
     {0, 45, 160, 10},
     0,
     "160x10 pixels at 0,45 are black, and not so in the frames beside it",
     0,
     0},
    {"TheRestMissing",
     Panning,
     Blacken<0, 50, 160, 40>,
     CheckState::Patch,
     {0, 50, 160, 40},
     0,
     "160x40 pixels at 0,50 are black, and not so in the frames beside it",
     0,
     0},
    {"Leftover",
     Panning,
     MakeStale<3>,
     CheckState::Patch,
     {55, 25, 40, 30},
     0,
     R"(40x30 pixels at 55,25 have the very pixels of the frame (\d+) before it, not those of the frames before and after)",
     3,
     3},
    {"StaleBlock",
     Panning,
     MakeAlmostStale,
     CheckState::Patch,
     {60, 30, 30, 20},
     5,
     R"(\d+x\d+ pixels at \d+,\d+ are as (\d+) frames before, and unlike the frames before and after)",
     5,
     5},
    {"Brighter", Panning, ExposeBad<33>, CheckState::Pop, k_all, 0,
     R"((\d+\.\d\d) stops brighter than the frames before and after, 0\.0\d would be usual)", 0.25,
     0.34},
    {"Darker", Noisy, ExposeBad<-33>, CheckState::Pop, k_all, 0,
     R"((\d+\.\d\d) stops darker than the frames before and after, 0\.0\d would be usual)", 0.25,
     0.34},
    {"ALittleBrighter", Still, ExposeBad<6>, CheckState::Pop, k_all, 0,
     R"((\d+\.\d\d) stops brighter than the frames before and after, 0\.00 would be usual)", 0.04,
     0.06},
    {"CoarseNoise", NoisyPan, MakeCoarse, CheckState::Pop, k_all, 0,
     R"(fine detail is (\d+\.\d\d) stops stronger than in the frames before and after, 0\.\d\d would be usual)",
     0.7, 1.6},
    {"ThingGone",
     Still,
     TakeAway,
     CheckState::Pop,
     {100, 40, 15, 15},
     5,
     R"(\d+x\d+ pixels at \d+,\d+ are (\d+\.\d\d) stops away from both the frame before and the one after, 0\.\d\d would be usual)",
     0.5,
     1.6},
    {"ThingGoneInNoise",
     Noisy,
     TakeAway,
     CheckState::Pop,
     {100, 40, 15, 15},
     5,
     R"(\d+x\d+ pixels at \d+,\d+ are (\d+\.\d\d) stops away from both the frame before and the one after, 0\.\d\d would be usual)",
     0.5,
     1.6},
    {"ThingGoneBesideAnotherThatGoesBy",
     WithObject,
     TakeAwayBesideTheObject,
     CheckState::Pop,
     {45, 55, 15, 15},
     5,
     R"(\d+x\d+ pixels at \d+,\d+ are as in neither the frame before nor the one after, by (\d+\.\d\d) stops, and nothing there moves)",
     0.3,
     2},
    {"ThingGoneWhileABirdGoesBy",
     WithBird,
     TakeAwayBelow,
     CheckState::Pop,
     {60, 65, 20, 20},
     5,
     R"(\d+x\d+ pixels at \d+,\d+ are as in neither the frame before nor the one after, by (\d+\.\d\d) stops, and nothing there moves)",
     0.3,
     4},
    {"RoughPlace",
     Still,
     RoughenAPlace,
     CheckState::Pop,
     {60, 40, 20, 15},
     5,
     R"(\d+x\d+ pixels at \d+,\d+ are as in neither the frame before nor the one after, by (\d+\.\d\d) stops, and nothing there moves)",
     0.3,
     4},
    {"AnotherPicture", Panning, TakeHalfFromElsewhere, CheckState::Pop, k_all, 0,
     R"(another picture than before and after: (\d+\.\d\d) stops in the mean of all tiles, 0\.\d\d would be usual)",
     0.2, 2},
    {"ManySparks",
     Still,
     AddManySparks,
     CheckState::Sparks,
     {17, 17, 81, 21},
     0,
     R"((\d+) bright pixels that no frame beside has, within \d+x\d+ pixels at \d+,\d+; new ones that are usual: 0)",
     27,
     27},
    {"StrongSparks",
     Panning,
     AddStrongSparks,
     CheckState::Sparks,
     {31, 22, 90, 50},
     0,
     R"((\d+) bright pixels that no frame beside has, within \d+x\d+ pixels at \d+,\d+; new ones that are usual: \d)",
     2,
     2},
    {"OneSpark",
     WithObject,
     AddOneSpark,
     CheckState::Sparks,
     {77, 33, 1, 1},
     0,
     R"(a bright pixel that no frame beside has, at 77,33; new ones that are usual: (0))",
     0,
     0},
};

// That a place holds the damage, and little besides;
void ExpectPlace(const PicturePlace &place, const PicturePlace &damage, int beside)
{
    EXPECT_LE(place.x, damage.x);
    EXPECT_LE(place.y, damage.y);
    EXPECT_GE(place.x + place.width, damage.x + damage.width);
    EXPECT_GE(place.y + place.height, damage.y + damage.height);
    EXPECT_GE(place.x, damage.x - beside);
    EXPECT_GE(place.y, damage.y - beside);
    EXPECT_LE(place.x + place.width, damage.x + damage.width + beside);
    EXPECT_LE(place.y + place.height, damage.y + damage.height + beside);
}

class PictureFault : public testing::TestWithParam<Fault>
{
};

TEST_P(PictureFault, IsFoundAndNothingElse)
{
    const Fault &fault = GetParam();
    SampleShot shot = fault.makeShot();
    fault.damage(shot);
    const PictureFindings findings = JudgeShot(shot);
    ASSERT_EQ(findings.size(), 1u) << testing::PrintToString(findings);
    ASSERT_EQ(findings.begin()->first, k_bad) << testing::PrintToString(findings);

    const PictureFinding &finding = findings.begin()->second;
    EXPECT_EQ(finding.state, fault.state) << testing::PrintToString(findings);
    ExpectPlace(finding.place, fault.place, fault.beside);
    std::smatch match;
    const std::string &detail = finding.detail;
    const std::regex expected(fault.detail);
    ASSERT_TRUE(std::regex_match(detail, match, expected)) << detail;
    if (match.size() > 1)
    {
        EXPECT_GE(std::stod(match[1]), fault.least) << detail;
        EXPECT_LE(std::stod(match[1]), fault.most) << detail;
    }
}

TEST_P(PictureFault, IsWhatItsShotIsAccusedOf)
{
    SampleShot shot = GetParam().makeShot();
    EXPECT_EQ(JudgeShot(shot), PictureFindings());
}

INSTANTIATE_TEST_SUITE_P(Each, PictureFault, testing::ValuesIn(k_faults),
                         [](const auto &fault) { return std::string(fault.param.name); });

} // namespace
} // namespace check
