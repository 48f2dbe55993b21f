#include "corvan/ReconnectPause.h"

#include <set>

#include <gtest/gtest.h>

using namespace corvan;
using namespace std::chrono_literals;

TEST(ReconnectPause, DoublesFromHalfASecondToThirtyShortenedByAFifthAtMost)
{
    ReconnectPause pause(LinkTiming(), 1);
    for (const auto full : {500ms, 1000ms, 2000ms, 4000ms, 8000ms, 16000ms, 30000ms, 30000ms})
    {
        const auto next = pause.Next(0ms);
        EXPECT_LE(next, full);
        EXPECT_GE(next, full * 4 / 5);
    }
}

TEST(ReconnectPause, IsNoneAfterAConnectionThatHadSettled)
{
    ReconnectPause pause(LinkTiming(), 1);
    pause.Next(0ms);
    pause.Next(0ms);
    EXPECT_EQ(pause.Next(LinkTiming().settled), 0ms);
    EXPECT_LE(pause.Next(0ms), 500ms);
}

TEST(ReconnectPause, GoesOnWhereConnectionsDoNotLast)
{
    ReconnectPause pause(LinkTiming(), 1);
    pause.Next(100ms);
    EXPECT_GE(pause.Next(100ms), 800ms);
}

TEST(ReconnectPause, DiffersFromClientToClient)
{
    std::set<long> pauses;
    for (unsigned seed = 1; seed <= 20; ++seed)
        pauses.insert(ReconnectPause(LinkTiming(), seed).Next(0ms).count());
    EXPECT_GT(pauses.size(), 10u);
}
