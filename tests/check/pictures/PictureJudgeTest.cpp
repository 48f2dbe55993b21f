#include "check/pictures/PictureJudge.h"

#include <gtest/gtest.h>

#include "tests/check/pictures/SampleShot.h"
#include "tests/support/Printing.h"

namespace check
{
namespace
{

// Frames judged together, and a fault around each of their borders.
constexpr int k_piece = 256;
constexpr int k_long = 600;
constexpr int k_borders[] = {253, 255, 256, 257, 511, 512};

// Measured once: it takes a second.
const SampleShot &LongShot()
{
    static const SampleShot shot = []
    {
        SampleShot made = PanningShot(k_long, 0.9);
        AddNoise(made, 0.1);
        return made;
    }();
    return shot;
}

const MeasuredShot &MeasuredLongShot()
{
    static const MeasuredShot shot(LongShot());
    return shot;
}

SamplePicture WithBlackTiles(const SamplePicture &picture)
{
    SamplePicture damaged = picture;
    Fill(damaged, {40, 30, 20, 15}, 0);
    return damaged;
}

SamplePicture Brighter(const SamplePicture &picture)
{
    SamplePicture damaged = picture;
    Expose(damaged, 0.4);
    return damaged;
}

SamplePicture WithSpark(const SamplePicture &picture)
{
    SamplePicture damaged = picture;
    damaged.At(71, 33) = 30;
    return damaged;
}

// What is said of a frame and those beside it where they are the middle of a shot of 81 frames.
PictureFindings JudgeInOnePiece(const MeasuredShot &shot, int frame)
{
    constexpr int k_beside = 40;
    const auto frames = shot.Frames();
    const int first = std::max(0, frame - k_beside);
    const int last = std::min(int(frames.size()), frame + k_beside + 1);
    PictureFindings findings;
    for (const auto &[at, finding] :
         PictureJudge().Judge({frames.data() + first, std::size_t(last - first)}))
        if (std::abs(int(at) + first - frame) <= 2)
            findings[at + std::size_t(first)] = finding;
    return findings;
}

PictureFindings WithoutDetails(PictureFindings findings)
{
    for (auto &[frame, finding] : findings)
        finding.detail.clear();
    return findings;
}

struct LongShotDamage
{
    const char *name;
    SamplePicture (*damage)(const SamplePicture &);
    CheckState state;

    friend void PrintTo(const LongShotDamage &one, std::ostream *stream)
    {
        *stream << one.name;
    }
};

class PictureJudgeBorders : public testing::TestWithParam<LongShotDamage>
{
};

TEST_P(PictureJudgeBorders, GiveTheSameAsOnePiece)
{
    for (const int frame : k_borders)
    {
        MeasuredShot shot = MeasuredLongShot();
        shot.Set(std::size_t(frame), GetParam().damage(*LongShot()[std::size_t(frame)]));
        const PictureFindings findings = PictureJudge().Judge(shot.Frames());
        ASSERT_EQ(findings.size(), 1u) << frame << ' ' << testing::PrintToString(findings);
        EXPECT_EQ(findings.begin()->first, std::size_t(frame));
        EXPECT_EQ(findings.begin()->second.state, GetParam().state);
        // Of the detail the last digit may be another: what light is usual depends on all frames.
        EXPECT_EQ(WithoutDetails(findings), WithoutDetails(JudgeInOnePiece(shot, frame)));
    }
}

INSTANTIATE_TEST_SUITE_P(Each, PictureJudgeBorders,
                         testing::Values(LongShotDamage{"BlackTiles", WithBlackTiles,
                                                        CheckState::Patch},
                                         LongShotDamage{"Brighter", Brighter, CheckState::Pop},
                                         LongShotDamage{"Spark", WithSpark, CheckState::Sparks}),
                         [](const auto &damage) { return std::string(damage.param.name); });

TEST(PictureJudge, FindsADuplicateOfAnotherPiece)
{
    MeasuredShot shot = MeasuredLongShot();
    shot.Set(k_piece, LongShot()[k_piece - 1]);
    const PictureFindings findings = PictureJudge().Judge(shot.Frames());
    ASSERT_EQ(findings.size(), 1u) << testing::PrintToString(findings);
    EXPECT_EQ(findings.begin()->first, std::size_t(k_piece));
    EXPECT_EQ(findings.begin()->second.state, CheckState::Duplicate);
}

TEST(PictureJudge, TakesAnimationOnTwosForThatAcrossBorders)
{
    MeasuredShot shot = MeasuredLongShot();
    for (int frame = 1; frame < k_long; frame += 2)
        shot.Set(std::size_t(frame), LongShot()[std::size_t(frame) - 1]);
    EXPECT_EQ(PictureJudge().Judge(shot.Frames()), PictureFindings());
}

TEST(PictureJudge, SaysTheSameAgain)
{
    MeasuredShot shot = MeasuredLongShot();
    for (const int frame : {20, 255, 590})
        shot.Set(std::size_t(frame), WithBlackTiles(*LongShot()[std::size_t(frame)]));
    PictureJudge judge;
    const PictureFindings findings = judge.Judge(shot.Frames());
    EXPECT_EQ(findings.size(), 3u);
    EXPECT_EQ(judge.Judge(shot.Frames()), findings);
    EXPECT_EQ(PictureJudge().Judge(shot.Frames()), findings);
}

TEST(PictureJudge, JudgesAgainWhatHasChangedAndWhatIsAroundIt)
{
    MeasuredShot shot = MeasuredLongShot();
    PictureJudge judge;
    EXPECT_EQ(judge.Judge(shot.Frames()), PictureFindings());
    for (const int frame : k_borders)
    {
        shot.Set(std::size_t(frame), WithBlackTiles(*LongShot()[std::size_t(frame)]));
        EXPECT_EQ(judge.Judge(shot.Frames()), PictureJudge().Judge(shot.Frames())) << frame;
        shot.Set(std::size_t(frame), LongShot()[std::size_t(frame)]);
        EXPECT_EQ(judge.Judge(shot.Frames()), PictureFindings()) << frame;
        shot.Set(std::size_t(frame), std::nullopt);
        EXPECT_EQ(judge.Judge(shot.Frames()), PictureFindings()) << frame;
        shot.Set(std::size_t(frame), LongShot()[std::size_t(frame)]);
    }
}

// That it goes by the pixels' hashes: measures that change without them are not looked at.
TEST(PictureJudge, JudgesNothingAgainThatIsAsItWas)
{
    const MeasuredShot shot = MeasuredLongShot();
    const auto frames = shot.Frames();
    std::vector<decode::PictureMeasures> others;
    for (const decode::PictureMeasures *const frame : frames)
        others.push_back(*frame);
    for (const std::size_t frame : {100u, 400u})
        for (decode::TileMeasure &tile : others[frame].tiles)
            tile.level = 0;
    std::vector<const decode::PictureMeasures *> changed;
    for (const decode::PictureMeasures &other : others)
        changed.push_back(&other);

    PictureJudge judge;
    EXPECT_EQ(judge.Judge(frames), PictureFindings());
    EXPECT_EQ(judge.Judge(changed), PictureFindings());
    // In the second piece alone, and beyond the margins of the others.
    others[400].hash ^= 1;
    const PictureFindings findings = judge.Judge(changed);
    ASSERT_EQ(findings.size(), 1u) << testing::PrintToString(findings);
    EXPECT_EQ(findings.begin()->first, 400u);
    EXPECT_EQ(PictureJudge().Judge(changed).size(), 2u);
}

TEST(PictureJudge, ForgetsWhatIsBeyondTheEndOfAShorterShot)
{
    MeasuredShot shot = MeasuredLongShot();
    for (const int frame : {20, 255, 590})
        shot.Set(std::size_t(frame), WithBlackTiles(*LongShot()[std::size_t(frame)]));
    const auto frames = shot.Frames();
    PictureJudge judge;
    for (const std::size_t length : {600u, 300u, 256u, 21u, 0u, 600u})
    {
        const PictureJudge::Frames some(frames.data(), length);
        EXPECT_EQ(judge.Judge(some), PictureJudge().Judge(some)) << length;
    }
}

} // namespace
} // namespace check
