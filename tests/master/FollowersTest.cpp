#include "master/jobs/Followers.h"

#include <gtest/gtest.h>

using master::ClientNumber;
using master::Followers;
using ostrel::UID;

using Clients = std::vector<ClientNumber>;

TEST(Followers, AreThoseWhoAskedForTheJob)
{
    const UID one(true), other(true);
    Followers followers;
    EXPECT_TRUE(followers.Follow(7, std::vector{one, other}));
    EXPECT_TRUE(followers.Follow(3, std::vector{one}));
    EXPECT_TRUE(followers.Follow(3, std::vector{one}));

    EXPECT_EQ(followers.Of(one), (Clients{3, 7}));
    EXPECT_EQ(followers.Of(other), Clients{7});
    EXPECT_EQ(followers.Of(UID(true)), Clients{});
}

TEST(Followers, ForgetAClientThatIsGone)
{
    const UID job(true);
    Followers followers;
    followers.Follow(1, std::vector{job});
    followers.Follow(2, std::vector{job});

    followers.Forget(1);
    followers.Forget(99);

    EXPECT_EQ(followers.Of(job), Clients{2});
}

TEST(Followers, OfOneClientAreLimited)
{
    std::vector<UID> jobs(Followers::k_MaxJobs);
    for (UID &job : jobs)
        job = UID(true);
    Followers followers;
    EXPECT_TRUE(followers.Follow(1, jobs));

    const UID more(true);
    EXPECT_FALSE(followers.Follow(1, std::vector{more}));
    EXPECT_EQ(followers.Of(more), Clients{});
    EXPECT_TRUE(followers.Follow(1, std::vector{jobs.front()}));
    EXPECT_TRUE(followers.Follow(2, std::vector{more}));
}

TEST(Followers, OfAllJobsFollowTheOthersTooAndOnce)
{
    const UID one(true);
    Followers followers;
    followers.Follow(3, std::vector{one});
    followers.Follow(7, std::vector{one});
    followers.FollowAll(5);
    followers.FollowAll(7);

    EXPECT_EQ(followers.Of(one), (Clients{3, 5, 7}));
    EXPECT_EQ(followers.Of(UID(true)), (Clients{5, 7}));

    followers.Forget(7);
    EXPECT_EQ(followers.Of(one), (Clients{3, 5}));
    followers.Forget(5);
    EXPECT_EQ(followers.Of(UID(true)), Clients{});
}
