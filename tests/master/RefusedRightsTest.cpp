#include "master/audit/RefusedRights.h"

#include <gtest/gtest.h>

using master::AuditEntry;
using master::RefusedRights;
using namespace std::chrono_literals;

namespace
{

const RefusedRights::Clock::time_point k_first_minute{1000h};

AuditEntry RefusedTo(const char *user)
{
    AuditEntry entry;
    entry.user = user;
    entry.refused = "the right is missing";
    return entry;
}

TEST(RefusedRights, OfOneUserAreWrittenAFewTimesAndThenCounted)
{
    RefusedRights refused;
    std::size_t written = 0;
    for (std::size_t i = 0; i < RefusedRights::k_LinesOfUser + 40; ++i)
        written += refused.IsToWrite(RefusedTo("anna"), k_first_minute) ? 1 : 0;
    EXPECT_EQ(written, RefusedRights::k_LinesOfUser);
    EXPECT_TRUE(refused.IsToWrite(RefusedTo("bert"), k_first_minute));
    EXPECT_TRUE(refused.TakeLeftOut(k_first_minute + 59s).empty());

    const auto left = refused.TakeLeftOut(k_first_minute + 60s);
    ASSERT_EQ(left.size(), 1u);
    EXPECT_EQ(left[0].user, "anna");
    EXPECT_EQ(left[0].refused, "40 more requests were refused for want of a right");
    EXPECT_TRUE(refused.TakeLeftOut(k_first_minute + 61s).empty());
    EXPECT_TRUE(refused.IsToWrite(RefusedTo("anna"), k_first_minute + 61s));
}

TEST(RefusedRights, LeaveOutNothingThatWasAccepted)
{
    RefusedRights refused;
    AuditEntry accepted = RefusedTo("anna");
    accepted.refused.clear();
    for (std::size_t i = 0; i < 2 * RefusedRights::k_LinesOfUser; ++i)
        EXPECT_TRUE(refused.IsToWrite(accepted, k_first_minute));
}

} // namespace
