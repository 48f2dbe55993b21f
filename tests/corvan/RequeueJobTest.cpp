#include "corvan/RequeueJob.h"

#include <gtest/gtest.h>

#include "tests/corvan/SampleType.h"

using namespace corvan;

namespace
{

class RequeueJobTest : public testing::Test
{
protected:
    RequeueJobTest()
    {
        m_job = JobFactory::s_JobFactory.CreateJob(SampleType().id);
        m_job->SetID(ostrel::UID(true));
        m_job->SetParameter(p_Name, "tower");
        m_job->SetParameter(p_Range, "1-10");
        m_job->SetParameter(p_Status, "2");
    }

    SampleTypeInFactory m_type;
    boost::shared_ptr<Job> m_job;
};

} // namespace

TEST_F(RequeueJobTest, IsAQueuedCopyOfItsOwnForItsRangeAndNamesItsOrigin)
{
    const auto requeue = MakeRequeueJob(*m_job, "2,4");
    ASSERT_TRUE(requeue);
    EXPECT_NE(requeue->ID(), m_job->ID());
    EXPECT_FALSE(requeue->ID().IsNil());
    EXPECT_EQ(requeue->Name(), "tower");
    EXPECT_EQ(requeue->ParameterText(p_Range, false), "2,4");
    EXPECT_EQ(requeue->ParameterText(p_Status, false), "0");
    EXPECT_EQ(requeue->ParameterText(p_RequeueOf, false), m_job->ID().ToString());
    EXPECT_EQ(OriginOf(*requeue), m_job->ID());

    EXPECT_EQ(m_job->ParameterText(p_Range, false), "1-10");
    EXPECT_TRUE(OriginOf(*m_job).IsNil());
}

TEST_F(RequeueJobTest, ARequeueOfARequeueNamesTheSameOrigin)
{
    const auto again = MakeRequeueJob(*MakeRequeueJob(*m_job, "2,4"), "4");
    ASSERT_TRUE(again);
    EXPECT_EQ(OriginOf(*again), m_job->ID());
}

TEST_F(RequeueJobTest, ThereIsNoneForARangeThatTheJobDoesNotTake)
{
    EXPECT_FALSE(MakeRequeueJob(*m_job, "1..5"));
}
