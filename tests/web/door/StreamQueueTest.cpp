#include "web/door/StreamQueue.h"

#include <gtest/gtest.h>

#include "web/door/EventStream.h"

using web::StreamQueue;

namespace
{

web::SharedText Text(const std::string &text)
{
    return std::make_shared<const std::string>(text);
}

std::string TakenFrom(StreamQueue &queue)
{
    std::string all;
    for (const web::SharedText &each : queue.Take(std::size_t(-1)))
        all += *each + "|";
    return all;
}

const std::string k_anew = "event: anew\ndata: {}\n\n|";

TEST(StreamQueue, GivesBackWhatItWasGiven)
{
    StreamQueue queue(100, 3);
    EXPECT_TRUE(queue.IsEmpty());
    queue.Add(Text("a"));
    queue.Add(Text("b"));
    queue.Add(Text("c"));
    EXPECT_FALSE(queue.IsEmpty());
    EXPECT_EQ(TakenFrom(queue), "a|b|c|");
    EXPECT_TRUE(queue.IsEmpty());
    EXPECT_EQ(TakenFrom(queue), "");
}

TEST(StreamQueue, DropsAllForOneWordWhereItIsFull)
{
    StreamQueue byNumber(100, 2);
    for (const char *text : {"a", "b", "c", "d"})
        byNumber.Add(Text(text));
    EXPECT_EQ(TakenFrom(byNumber), k_anew + "d|");

    StreamQueue byBytes(100, 100);
    byBytes.Add(Text(std::string(60, 'a')));
    byBytes.Add(Text(std::string(41, 'b')));
    EXPECT_EQ(TakenFrom(byBytes), k_anew);
    byBytes.Add(Text(std::string(60, 'a')));
    byBytes.Add(Text(std::string(40, 'b')));
    EXPECT_EQ(TakenFrom(byBytes), std::string(60, 'a') + "|" + std::string(40, 'b') + "|");
}

TEST(StreamQueue, NeverHoldsMoreThanItsBounds)
{
    StreamQueue queue(1000, 10);
    for (int i = 0; i < 10'000; ++i)
    {
        queue.Add(Text(std::string(std::size_t(i % 300), 'x')));
        if (i % 97 != 0)
            continue;
        std::size_t bytes = 0;
        const auto all = queue.Take(std::size_t(-1));
        for (const auto &each : all)
            bytes += each->size();
        EXPECT_LE(bytes, 1000u);
        EXPECT_LE(all.size(), 10u);
    }
}

TEST(StreamQueue, TakesOneThatIsLargerThanAllOfItByItself)
{
    StreamQueue queue(10, 10);
    queue.Add(Text(std::string(1000, 'a')));
    EXPECT_EQ(TakenFrom(queue), std::string(1000, 'a') + "|");
}

TEST(StreamQueue, GivesPiecesOfAboutTheSizeThatIsAskedFor)
{
    StreamQueue queue(100, 10);
    for (const char *text : {"aaaa", "bbbb", "cccc"})
        queue.Add(Text(text));
    EXPECT_EQ(queue.Take(5).size(), 2u);
    EXPECT_EQ(queue.Take(5).size(), 1u);
}

} // namespace
