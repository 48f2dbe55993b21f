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
        EXPECT_EQ(wrong.Note("peer", "a", now), pause);
        now += 20s;
    }
}

TEST(WrongTokens, OfOnePeerCostAnotherNothing)
{
    WrongTokens wrong;
    for (int i = 0; i < 8; ++i)
        wrong.Note("peer", std::to_string(i), k_begin);
    EXPECT_TRUE(wrong.IsBarred("peer", k_begin));
    EXPECT_FALSE(wrong.IsBarred("other", k_begin));
    EXPECT_EQ(wrong.Note("other", "a", k_begin), 250ms);
}

TEST(WrongTokens, SideBySideBarTheirPeerUntilOneIsAnswered)
{
    WrongTokens wrong;
    for (std::size_t i = 0; i < WrongTokens::k_MostTokens; ++i)
    {
        EXPECT_FALSE(wrong.IsBarred("peer", k_begin));
        wrong.Note("peer", std::to_string(i), k_begin);
    }
    EXPECT_TRUE(wrong.IsBarred("peer", k_begin + 249ms));
    EXPECT_FALSE(wrong.IsBarred("peer", k_begin + 250ms));
}

TEST(WrongTokens, OfProgramsThatGoOnWithARemovedOneDoNotBarTheirNeighbours)
{
    WrongTokens wrong;
    for (int i = 0; i < 100; ++i)
        wrong.Note("peer", "removed", k_begin);
    EXPECT_FALSE(wrong.IsBarred("peer", k_begin));
    EXPECT_EQ(wrong.Note("peer", "removed", k_begin), 0ms) << "nobody waits beside so many";
    EXPECT_EQ(wrong.Note("peer", "removed", k_begin + 20s), 8s);
}

// Else four that wait would let the others be tried as fast as can be.
TEST(WrongTokens, BarTheirPeerAlsoWhereTheirAnswersAreNotWaitedFor)
{
    WrongTokens wrong;
    for (std::size_t i = 0; i < WrongTokens::k_MostWaiting; ++i)
        wrong.Note("peer", "the same", k_begin);
    for (const char *guess : {"a", "b", "c"})
    {
        EXPECT_FALSE(wrong.IsBarred("peer", k_begin));
        EXPECT_EQ(wrong.Note("peer", guess, k_begin), 0ms);
    }
    EXPECT_TRUE(wrong.IsBarred("peer", k_begin));
}

TEST(WrongTokens, AreForgotten)
{
    WrongTokens wrong;
    wrong.Note("peer", "a", k_begin);
    wrong.Note("peer", "a", k_begin);
    EXPECT_EQ(wrong.Note("peer", "a", k_begin + 10min + 1s), 250ms);
}

TEST(WrongTokens, OfManyPeersTakeNoMoreMemoryThanTheyMay)
{
    WrongTokens wrong;
    for (std::size_t i = 0; i < WrongTokens::k_MostPeers; ++i)
        wrong.Note(std::to_string(i), "a", k_begin);
    wrong.Note("one more", "a", k_begin);
    EXPECT_EQ(wrong.Note("0", "a", k_begin), 250ms);
}

} // namespace
