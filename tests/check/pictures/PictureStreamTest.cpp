#include "check/pictures/PictureStream.h"

#include <algorithm>
#include <numeric>

#include <gtest/gtest.h>

#include "check/pictures/PictureJudge.h"
#include "tests/check/pictures/SampleShot.h"
#include "tests/support/Printing.h"

namespace check
{
namespace
{

constexpr std::size_t k_streamed = 700;

// With a fault here and there, also at borders of what is judged together, and frames of which
// nothing is known.
const MeasuredShot &FaultyShot()
{
    static const MeasuredShot shot = []
    {
        SampleShot pictures = PanningShot(int(k_streamed), 0.9);
        AddNoise(pictures, 0.1);
        for (const std::size_t frame : {0u, 20u, 255u, 256u, 400u, 512u, 590u, 698u})
            Fill(*pictures[frame], {40, 30, 20, 15}, 0);
        for (const std::size_t frame : {100u, 101u, 257u, 699u})
            pictures[frame].reset();
        return MeasuredShot(pictures);
    }();
    return shot;
}

struct Course
{
    PictureFindings findings;
    std::size_t keptAtMost = 0;
    std::size_t keptInTheEnd = 0;
};

Course Give(const std::vector<std::size_t> &order)
{
    const auto frames = FaultyShot().Frames();
    PictureStream stream(frames.size());
    Course course;
    for (const std::size_t frame : order)
    {
        stream.Take(frame, frames[frame] ? *frames[frame] : decode::PictureMeasures());
        course.keptAtMost = std::max(course.keptAtMost, stream.Kept());
    }
    course.findings = stream.Findings();
    course.keptInTheEnd = stream.Kept();
    return course;
}

std::vector<std::size_t> InTime()
{
    std::vector<std::size_t> order(k_streamed);
    std::iota(order.begin(), order.end(), std::size_t(0));
    return order;
}

TEST(PictureStream, FindsInAnyOrderWhatIsFoundInAllAtOnce)
{
    const PictureFindings all = PictureJudge().Judge(FaultyShot().Frames());
    EXPECT_GE(all.size(), 5u);
    std::vector<std::size_t> order = InTime();
    EXPECT_EQ(Give(order).findings, all);
    for (std::size_t at = 0; at + 1 < order.size(); at += 2)
        std::swap(order[at], order[at + 1]);
    EXPECT_EQ(Give(order).findings, all);
    std::ranges::reverse(order);
    EXPECT_EQ(Give(order).findings, all);
}

TEST(PictureStream, KeepsNoMoreThanIsStillToBeJudgedOrHeldAgainst)
{
    const Course course = Give(InTime());
    EXPECT_LE(course.keptAtMost, 256 + 2 * PictureJudge::k_Reach);
    EXPECT_EQ(course.keptInTheEnd, 0u);
}

TEST(PictureStream, HasNothingToSayOfNoFrames)
{
    EXPECT_EQ(PictureStream(0).Findings(), PictureFindings());
    PictureStream stream(1);
    stream.Take(0, {});
    EXPECT_EQ(stream.Findings(), PictureFindings());
    EXPECT_EQ(stream.Kept(), 0u);
}

} // namespace
} // namespace check
