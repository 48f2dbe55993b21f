#include "master/door/WrongTokens.h"

#include <gtest/gtest.h>

using master::WrongTokens;
using namespace std::chrono_literals;

namespace
{

const WrongTokens::Clock::time_point k_begin{1000h};

TEST(WrongTokens, CostAPauseThatDoublesUpToALimit)
{
    WrongTokens wrong;
    const std::chrono::milliseconds expected[] = {250ms, 500ms, 1s, 2s, 4s, 8s, 8s};
    auto now = k_begin;
    for (const auto pause : expected)
    {
        EXPECT_EQ(wrong.Note("peer", now).pause, pause);
        now += 20s;
    }
}

TEST(WrongTokens, OfOnePeerCostAnotherNothing)
{
    WrongTokens wrong;
    for (int i = 0; i < 8; ++i)
        wrong.Note("peer", k_begin);
    EXPECT_EQ(wrong.Note("other", k_begin).pause, 250ms);
    EXPECT_TRUE(wrong.Note("other", k_begin).isToTell);
}

// Else to guess side by side would be quicker than one after the other.
TEST(WrongTokens, SideBySideAllHaveTheirPause)
{
    WrongTokens wrong;
    for (int i = 0; i < 5; ++i)
        wrong.Note("peer", k_begin);
    for (int i = 0; i < 10'000; ++i)
        ASSERT_EQ(wrong.Note("peer", k_begin).pause, 8s) << i;
}

TEST(WrongTokens, AreToldAFewAtATime)
{
    WrongTokens wrong;
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(wrong.Note("peer", k_begin).isToTell, i < 4) << i;
    // The first one's answer was given.
    EXPECT_TRUE(wrong.Note("peer", k_begin + 250ms).isToTell);
    EXPECT_FALSE(wrong.Note("peer", k_begin + 250ms).isToTell);
}

TEST(WrongTokens, AreForgotten)
{
    WrongTokens wrong;
    wrong.Note("peer", k_begin);
    wrong.Note("peer", k_begin);
    EXPECT_EQ(wrong.Note("peer", k_begin + 10min + 1s).pause, 250ms);
}

TEST(WrongTokens, OfManyPeersTakeNoMoreMemoryThanTheyMay)
{
    WrongTokens wrong;
    for (std::size_t i = 0; i < WrongTokens::k_MostPeers; ++i)
        wrong.Note(std::to_string(i), k_begin);
    wrong.Note("one more", k_begin);
    EXPECT_EQ(wrong.Note("0", k_begin).pause, 250ms);
}

} // namespace
