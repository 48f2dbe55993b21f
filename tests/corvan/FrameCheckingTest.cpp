#include "corvan/FrameChecking.h"

#include <boost/make_shared.hpp>

#include <gtest/gtest.h>

#include "corvan/Job.h"
#include "corvan/JobType.h"
#include "tests/corvan/SampleType.h"

using corvan::FrameChecking;

namespace
{

using Settings = std::vector<std::pair<const char *, const char *>>;

FrameChecking CheckingOf(const Settings &ofType, const Settings &ofJob)
{
    corvan::JobType type = SampleType();
    for (const auto &[name, value] : ofType)
        type.defaults.emplace_back(name, value);
    corvan::RenderJob job(boost::make_shared<const corvan::JobType>(type));
    for (const auto &[name, value] : ofJob)
        EXPECT_TRUE(job.SetParameter(name, value)) << name << " = " << value;
    return corvan::FrameCheckingOf(job);
}

TEST(FrameChecking, IsThatOfTheJobElseThatOfItsType)
{
    const struct
    {
        Settings ofType;
        Settings ofJob;
        FrameChecking result;
    } cases[] = {
        {{}, {}, {FrameChecking::Kind::None, 0, 10}},
        {{}, {{"CheckFrames", "sizes"}}, {FrameChecking::Kind::Sizes, 0, 10}},
        {{},
         {{"CheckFrames", "decode"}, {"AutoRequeue", "3"}},
         {FrameChecking::Kind::Decode, 3, 10}},
        {{{"CheckFrames", "decode"}},
         {{"CheckFrames", "pictures"}},
         {FrameChecking::Kind::Pictures, 0, 10}},
        {{{"CheckFrames", "sizes"}, {"QuietSeconds", "60"}},
         {},
         {FrameChecking::Kind::Sizes, 0, 60}},
        {{{"CheckFrames", "sizes"}}, {{"CheckFrames", "none"}}, {FrameChecking::Kind::None, 0, 10}},
        {{{"AutoRequeue", "2"}}, {{"AutoRequeue", "0"}}, {FrameChecking::Kind::None, 0, 10}},
        {{}, {{"CheckFrames", ""}, {"AutoRequeue", ""}}, {FrameChecking::Kind::None, 0, 10}},
        {{}, {{"QuietSeconds", "0"}}, {FrameChecking::Kind::None, 0, 0}},
        {{},
         {{"SizeRule", "robust"}},
         {FrameChecking::Kind::None, 0, 10, corvan::SizeRule::Robust}},
        {{{"SizeRule", "robust"}},
         {{"SizeRule", "neighbours"}},
         {FrameChecking::Kind::None, 0, 10, corvan::SizeRule::Neighbours}},
        {{}, {{"SizeRule", ""}}, {FrameChecking::Kind::None, 0, 10}},
    };
    for (const auto &[ofType, ofJob, result] : cases)
        EXPECT_EQ(CheckingOf(ofType, ofJob), result) << "case " << &result - &cases[0].result;
}

TEST(FrameChecking, OfATypeThatRendersNoFramesIsNone)
{
    corvan::JobType type = SampleType();
    type.rendersFrames = type.hasCustomRange = false;
    corvan::Job job(boost::make_shared<const corvan::JobType>(type));
    EXPECT_EQ(job.CheckParameter("CheckFrames", "sizes"),
              "CheckFrames: jobs of type Sample render no frames");
    EXPECT_EQ(job.CheckParameter("CheckFrames", "none"), "");
    EXPECT_EQ(corvan::FrameCheckingOf(job).kind, FrameChecking::Kind::None);
}

TEST(FrameChecking, TakesItsOwnValuesAlone)
{
    const struct
    {
        const char *name;
        const char *value;
        const char *reason;
    } cases[] = {
        {"CheckFrames", "size", "CheckFrames: \"size\" is none of none, sizes, decode, pictures"},
        {"CheckFrames", "Sizes", "CheckFrames: \"Sizes\" is none of none, sizes, decode, pictures"},
        {"CheckFrames", "decode", ""},
        {"CheckFrames", "pictures", ""},
        {"AutoRequeue", "11", "AutoRequeue: \"11\" is not a whole number from 0 to 10"},
        {"AutoRequeue", "-1", "AutoRequeue: \"-1\" is not a whole number from 0 to 10"},
        {"AutoRequeue", "2 times", "AutoRequeue: \"2 times\" is not a whole number from 0 to 10"},
        {"AutoRequeue", "10", ""},
        {"QuietSeconds", "1.5", "QuietSeconds: \"1.5\" is not a whole number from 0 to 86400"},
        {"QuietSeconds", "86401", "QuietSeconds: \"86401\" is not a whole number from 0 to 86400"},
        {"QuietSeconds", "", ""},
        {"SizeRule", "hampel", "SizeRule: \"hampel\" is none of neighbours, robust"},
        {"SizeRule", "robust", ""},
    };
    const corvan::RenderJob job(boost::make_shared<const corvan::JobType>(SampleType()));
    for (const auto &[name, value, reason] : cases)
        EXPECT_EQ(job.CheckParameter(name, value), reason) << name << " = " << value;
}

} // namespace
