#include "master/schedule/JobPauses.h"

#include <gtest/gtest.h>

#include "tests/support/FakeClock.h"

using master::JobPauses;
using ostrel::UID;

using namespace std::chrono_literals;

namespace
{

class JobPausesTest : public ::testing::Test
{
protected:
    std::set<UID> Pausing() const
    {
        std::set<UID> jobs;
        m_pauses.AddPausing(m_clock.Now(), jobs);
        return jobs;
    }

    const UID m_job{true};
    FakeClock m_clock;
    JobPauses m_pauses{{}};
};

} // namespace

TEST_F(JobPausesTest, AJobThatIsEasedIsTriedAtOnceAndPausesLongerWhereThatWasTooEarly)
{
    for (const auto length : {1s, 2s, 4s})
    {
        m_pauses.Begin(m_job, m_clock.Now());
        EXPECT_EQ(Pausing(), std::set<UID>{m_job});
        EXPECT_TRUE(m_pauses.IsTroubled(m_job));
        EXPECT_EQ(m_pauses.NextEnd(m_clock.Now()), m_clock.Now() + length);

        m_pauses.Ease(m_job);
        EXPECT_EQ(Pausing(), std::set<UID>{});
        EXPECT_FALSE(m_pauses.IsTroubled(m_job));
        EXPECT_EQ(m_pauses.NextEnd(m_clock.Now()), std::nullopt);
    }
}

TEST_F(JobPausesTest, AJobThatIsWellPausesAsIfForTheFirstTime)
{
    m_pauses.Begin(m_job, m_clock.Now());
    m_pauses.Ease(m_job);
    EXPECT_TRUE(m_pauses.HasAny());
    m_pauses.End(m_job);
    EXPECT_FALSE(m_pauses.HasAny());
    m_pauses.Begin(m_job, m_clock.Now());
    EXPECT_EQ(m_pauses.NextEnd(m_clock.Now()), m_clock.Now() + 1s);
}

TEST_F(JobPausesTest, AJobThatNeverPausedIsNotEased)
{
    m_pauses.Ease(m_job);
    EXPECT_FALSE(m_pauses.HasAny());
}
