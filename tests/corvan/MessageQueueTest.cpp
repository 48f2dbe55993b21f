#include "corvan/MessageQueue.h"

#include <atomic>
#include <boost/make_shared.hpp>
#include <thread>

#include <gtest/gtest.h>

#include "corvan/Messages.h"

using namespace corvan;

namespace
{

boost::shared_ptr<Message> MakeMessage(std::uint64_t serial, std::size_t bytes = 1)
{
    auto message = boost::make_shared<AcceptedMsg>();
    message->serial = serial;
    message->wireBytes = bytes;
    return message;
}

std::uint64_t SerialOf(const std::optional<LinkNews> &news)
{
    return news ? std::get<boost::shared_ptr<Message>>(*news)->serial : 0;
}

} // namespace

TEST(MessageQueue, GivesBackInOrderAndTellsWhenItWasEmpty)
{
    MessageQueue queue;
    queue.Open();
    EXPECT_TRUE(queue.Push(LinkUp()));
    EXPECT_FALSE(queue.Push(MakeMessage(1)));
    EXPECT_FALSE(queue.Push(LinkDown{"why"}));
    EXPECT_EQ(queue.Count(), 3u);
    EXPECT_TRUE(std::holds_alternative<LinkUp>(*queue.Take()));
    EXPECT_EQ(SerialOf(queue.Take()), 1u);
    EXPECT_EQ(std::get<LinkDown>(*queue.Take()).reason, "why");
    EXPECT_FALSE(queue.Take());
    EXPECT_TRUE(queue.Push(MakeMessage(2)));
}

TEST(MessageQueue, TakesNothingBeforeItIsOpenAndAfterItIsClosed)
{
    MessageQueue queue;
    EXPECT_FALSE(queue.Push(LinkUp()));
    queue.Open();
    queue.Push(LinkUp());
    queue.Close();
    EXPECT_FALSE(queue.Take());
    EXPECT_FALSE(queue.Push(LinkUp()));
    EXPECT_EQ(queue.Count(), 0u);
}

TEST(MessageQueue, HoldsUpWhoeverPushesIntoAFullOne)
{
    MessageQueue queue;
    queue.Open();
    std::atomic<std::size_t> pushed = 0;
    const std::size_t all = 3 * MessageQueue::k_MaxMessages;
    std::jthread pusher(
        [&]
        {
            for (std::size_t i = 1; i <= all; ++i)
            {
                queue.Push(MakeMessage(i));
                ++pushed;
            }
        });
    std::size_t taken = 0;
    while (taken < all)
    {
        EXPECT_LE(queue.Count(), MessageQueue::k_MaxMessages);
        if (const auto news = queue.Take())
        {
            ASSERT_EQ(SerialOf(news), ++taken);
        }
        ASSERT_LE(pushed, taken + MessageQueue::k_MaxMessages + 1);
    }
}

TEST(MessageQueue, CountsBytesToo)
{
    MessageQueue queue;
    queue.Open();
    std::atomic<int> pushed = 0;
    std::jthread pusher(
        [&]
        {
            for (int i = 0; i < 4; ++i)
            {
                queue.Push(MakeMessage(1, MessageQueue::k_MaxBytes / 2));
                ++pushed;
            }
        });
    while (pushed < 2)
        std::this_thread::yield();
    queue.Push(LinkUp()); // Never waits.
    EXPECT_EQ(queue.Count(), 3u);
    for (int i = 0; i < 5;)
        i += queue.Take() ? 1 : 0;
}

TEST(MessageQueue, LetsGoOfWhoWaitsWhenItIsClosed)
{
    MessageQueue queue;
    queue.Open();
    std::jthread pusher(
        [&]
        {
            queue.Push(MakeMessage(1, MessageQueue::k_MaxBytes));
            EXPECT_FALSE(queue.Push(MakeMessage(2)));
        });
    while (queue.Count() == 0)
        std::this_thread::yield();
    queue.Close();
}
