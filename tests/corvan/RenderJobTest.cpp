#include <optional>

#include <gtest/gtest.h>

#include "corvan/Job.h"
#include "corvan/JobType.h"
#include "tests/corvan/SampleType.h"
#include "tests/support/Printing.h"

using namespace corvan;

namespace
{

class RenderJobTest : public testing::Test
{
protected:
    static std::optional<String> Read(const Job &job, const String &name)
    {
        String value;
        return job.GetParameter(name, value) ? std::optional(value) : std::nullopt;
    }

    std::optional<String> UserRange() const
    {
        return Read(m_job, p_UserRange);
    }

    RenderJob m_job{boost::make_shared<const JobType>(SampleType())};
};

} // namespace

TEST_F(RenderJobTest, HasACustomRangeFromTheStartAndNoUserRange)
{
    EXPECT_EQ(Read(m_job, p_CustomRange), "");
    EXPECT_EQ(UserRange(), std::nullopt);
    EXPECT_EQ(Read(m_job, p_Range), std::nullopt);
}

TEST_F(RenderJobTest, LooksForTheRangeUnlessThereIsACustomRange)
{
    m_job.SetParameter(p_Range, "1-10");
    EXPECT_EQ(UserRange(), "1-10");
    m_job.SetParameter(p_CustomRange, "3-5");
    EXPECT_EQ(UserRange(), "3-5");
    m_job.SetParameter(p_Range, "1-20");
    EXPECT_EQ(UserRange(), "3-5");
    m_job.SetParameter(p_CustomRange, "");
    EXPECT_EQ(UserRange(), "1-20");
}

TEST_F(RenderJobTest, LooksForTheCustomRangeWithoutARange)
{
    m_job.SetParameter(p_CustomRange, "7");
    EXPECT_EQ(UserRange(), "7");
    m_job.SetParameter(p_CustomRange, "");
    EXPECT_EQ(UserRange(), std::nullopt);
}

TEST_F(RenderJobTest, KeepsAUserRangeThatWasSetUntilARangeIsSet)
{
    m_job.SetParameter(p_Range, "1-10");
    for (const String &name : {p_Range, p_CustomRange})
    {
        EXPECT_TRUE(m_job.SetParameter(p_UserRange, "100"));
        EXPECT_EQ(UserRange(), "100");
        m_job.SetParameter("Scene", "x");
        EXPECT_EQ(UserRange(), "100");
        EXPECT_FALSE(m_job.SetParameter(name, "no range"));
        EXPECT_EQ(UserRange(), "100");
        EXPECT_TRUE(m_job.SetParameter(name, name == p_Range ? "1-10" : ""));
        EXPECT_EQ(UserRange(), "1-10");
    }
}

TEST_F(RenderJobTest, KeepsAnEmptyUserRangeThatWasSet)
{
    m_job.SetParameter(p_Range, "1-10");
    m_job.SetParameter(p_UserRange, "");
    EXPECT_EQ(UserRange(), "");
}

TEST_F(RenderJobTest, CopiesAUserRangeThatWasSet)
{
    m_job.SetParameter(p_Range, "1-10");
    m_job.SetParameter(p_CustomRange, "2");
    m_job.SetParameter(p_UserRange, "100");
    RenderJob copy(boost::make_shared<const JobType>(SampleType()));
    copy.CopyFrom(m_job, true);
    EXPECT_EQ(Read(copy, p_UserRange), "100");
    copy.SetParameter(p_Range, "5");
    EXPECT_EQ(Read(copy, p_UserRange), "2");
}

TEST_F(RenderJobTest, HasNoCustomRangeWhereItsTypeHasNone)
{
    JobType type = SampleType();
    type.hasCustomRange = false;
    RenderJob job(boost::make_shared<const JobType>(type));
    job.SetParameter(p_Range, "1-10");
    EXPECT_FALSE(job.SetParameter(p_CustomRange, "3"));
    EXPECT_EQ(Read(job, p_CustomRange), std::nullopt);
    EXPECT_EQ(Read(job, p_UserRange), "1-10");
}

TEST(RenderJob, GuessesThePatternOfAFile)
{
    const struct
    {
        const char *file;
        const char *pattern;
    } cases[] = {
        {"/r/beauty.0001.exr", "/r/beauty.%04d.exr"},
        {"/r/beauty.1001.exr", "/r/beauty.%04d.exr"},
        {"/r/beauty.12345.exr", "/r/beauty.%05d.exr"},
        {"/r/beauty.101.exr", "/r/beauty.%d.exr"},
        {"/r/beauty.001.exr", "/r/beauty.%03d.exr"},
        {"/r/beauty.0.exr", "/r/beauty.%d.exr"},
        {"/r/beauty.00.exr", "/r/beauty.%02d.exr"},
        {"frame12.png", "frame%d.png"},
        {"/r2/shot010_v2_0042_left.png", "/r2/shot010_v2_%04d_left.png"},
        {"/r/0042", "/r/%04d"},
        {"/r/.0042", "/r/.%04d"},
        {"/r/beauty.0042", "/r/beauty.%04d"},
        {"/r/a-0005.png", "/r/a-%04d.png"},
        {"/r/clip.mp4", "/r/clip.mp4"},
        {"/r/clip7.mp4", "/r/clip%d.mp4"},
        {"/r/beauty.exr", "/r/beauty.exr"},
        {"/100%/a%d.0001.exr", "/100%%/a%%d.%04d.exr"},
        {"/100%/beauty.exr", "/100%%/beauty.exr"},
        {"/2026/beauty.exr", "/2026/beauty.exr"},
        {"/2026/", "/2026/"},
        {"", ""},
        {"/r/ü١0001.exr", "/r/ü١%04d.exr"},
    };
    for (const auto &[file, pattern] : cases)
        EXPECT_EQ(RenderJob::GetSpecifierFromFilename(file), pattern) << file;
}
