#include "decode/Findings.h"

#include <gtest/gtest.h>

#include "tests/support/Printing.h"

using namespace decode;

namespace
{

ImageReport GoodReport()
{
    ImageReport report;
    report.format = report.formatByName = "openexr";
    report.width = 640;
    report.height = 480;
    report.channels = "R,G,B";
    report.pixels = 307'200;
    return report;
}

template <typename Change> ImageReport Changed(Change change)
{
    ImageReport report = GoodReport();
    change(report);
    return report;
}

// In the middle of a sequence that is good else.
ImageFinding JudgeAmongGood(const ImageReport &report)
{
    const ImageReport good = GoodReport();
    return JudgeImages({&good, &good, &report, &good, &good}, 2)[2];
}

} // namespace

TEST(Findings, SayWhatIsWrongWithAnImage)
{
    using enum ImageState;
    const struct
    {
        ImageReport report;
        ImageState state;
        const char *detail;
    } cases[] = {
        {GoodReport(), Ok, ""},
        {Changed([](auto &r) { r.reason = "it ends early"; }), Undecodable,
         "cannot be decoded: it ends early"},
        {Changed([](auto &r) { r.width = 320; }), OddImage, "320x480 among 640x480"},
        {Changed([](auto &r) { r.channels = "R,G,B,A"; }), OddImage, "R,G,B,A among R,G,B"},
        {Changed(
             [](auto &r)
             {
                 r.format = "png";
                 r.height = 1;
             }),
         OddImage, "640x1 png among 640x480 openexr; holds png, named as openexr"},
        {Changed([](auto &r) { r.colour = "0, 0, 0"; }), Blank, "all pixels are 0, 0, 0"},
        {Changed(
             [](auto &r)
             {
                 r.nanPixels = 7;
                 r.wildChannels = "R";
             }),
         Nan, "7 NaN of 307200 pixels, in R"},
        {Changed(
             [](auto &r)
             {
                 r.infinitePixels = 1;
                 r.wildChannels = "G";
             }),
         Nan, "1 infinite of 307200 pixels, in G"},
        {Changed(
             [](auto &r)
             {
                 r.nanPixels = 2;
                 r.infinitePixels = 1;
                 r.wildChannels = "G,B";
                 r.colour = "1, 1, 1";
             }),
         Nan, "2 NaN and 1 infinite of 307200 pixels, in G,B; all pixels are 1, 1, 1"},
        {Changed([](auto &r) { r.formatByName = ""; }), Ok, ""},
    };
    for (const auto &[report, state, detail] : cases)
        EXPECT_EQ(JudgeAmongGood(report), (ImageFinding{state, detail})) << detail;
}

TEST(Findings, NameAContentThatIsNotThatOfTheNameButFindNoFaultInIt)
{
    const ImageReport report = Changed([](auto &r) { r.format = "png"; });
    const auto findings = JudgeImages({&report, &report, &report}, 5);
    for (const ImageFinding &finding : findings)
        EXPECT_EQ(finding, (ImageFinding{ImageState::Ok, "holds png, named as openexr"}));
}

TEST(Findings, LeaveOutWhatIsNotThereAndWhatCannotBeReadWhenTheyCompare)
{
    const ImageReport good = GoodReport();
    const ImageReport broken = Changed(
        [](auto &r)
        {
            r.reason = "it ends early";
            r.width = 0;
        });
    const auto findings = JudgeImages({nullptr, &broken, &broken, &good, nullptr}, 5);
    EXPECT_EQ(findings[0], ImageFinding());
    EXPECT_EQ(findings[1].state, ImageState::Undecodable);
    EXPECT_EQ(findings[3], ImageFinding());
}

TEST(Findings, SayNothingOfAnImageThatCouldNotBeLookedAt)
{
    const ImageReport good = GoodReport();
    const ImageReport unseen = Changed(
        [](auto &r)
        {
            r = {};
            r.trouble = "no memory";
        });
    const auto findings = JudgeImages({&good, &unseen, &good, &unseen, &unseen}, 5);
    EXPECT_EQ(findings[1].state, ImageState::Ok);
    EXPECT_EQ(findings[1].detail, "");
    EXPECT_EQ(findings[1].trouble, "no memory");
    EXPECT_EQ(findings[0], ImageFinding()) << "and nothing against its neighbours";
}

TEST(Findings, LetSoManyWildPixelsPassAsTheLimitSays)
{
    using enum ImageState;
    const struct
    {
        std::uint64_t nans;
        std::uint64_t infinite;
        std::uint64_t limit;
        ImageState state;
    } cases[] = {
        {0, 0, 0, Ok},  {1, 0, 0, Nan}, {1, 0, 1, Ok},  {2, 0, 1, Nan},         {0, 5, 5, Ok},
        {0, 6, 5, Nan}, {3, 2, 5, Ok},  {3, 3, 5, Nan}, {7, 0, UINT64_MAX, Ok},
    };
    for (const auto &[nans, infinite, limit, state] : cases)
    {
        SCOPED_TRACE(testing::Message() << nans << " and " << infinite << ", at most " << limit);
        ImageReport report = GoodReport();
        report.nanPixels = nans;
        report.infinitePixels = infinite;
        report.wildChannels = "R";
        const ImageFinding finding = JudgeImages({&report}, 2, {limit, false})[0];
        EXPECT_EQ(finding.state, state);
        EXPECT_EQ(finding.detail.empty(), nans + infinite == 0) << "it is told though it may pass";
    }
}

TEST(Findings, BlameNegativeColoursWhereThatIsAskedFor)
{
    const ImageReport report = Changed([](auto &r) { r.negativePixels = 3; });
    EXPECT_EQ(JudgeImages({&report}, 2)[0], ImageFinding());
    EXPECT_EQ(JudgeImages({&report}, 2, {0, true})[0],
              (ImageFinding{ImageState::Nan, "3 of 307200 pixels have a negative colour"}));
    const ImageReport sound = GoodReport();
    EXPECT_EQ(JudgeImages({&sound}, 2, {0, true})[0], ImageFinding());
}
