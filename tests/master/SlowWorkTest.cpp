#include "master/run/SlowWork.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <chrono>
#include <future>
#include <optional>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace master
{
namespace
{

using namespace std::chrono_literals;

TEST(SlowThread, DoesOneAfterTheOtherElsewhereAndWhatFollowsOnTheLoop)
{
    boost::asio::io_context loop;
    const auto guard = boost::asio::make_work_guard(loop);
    SlowThread thread(loop);
    std::vector<int> done;
    const auto here = std::this_thread::get_id();
    for (int i = 0; i < 3; ++i)
        thread.Do(
            [&, i]
            {
                EXPECT_NE(std::this_thread::get_id(), here);
                return [&, i]
                {
                    EXPECT_EQ(std::this_thread::get_id(), here);
                    done.push_back(i);
                };
            });
    EXPECT_TRUE(done.empty()) << "never within the call";
    const auto limit = std::chrono::steady_clock::now() + 30s;
    while (done.size() < 3 && std::chrono::steady_clock::now() < limit)
        loop.run_one_for(1s);
    EXPECT_EQ(done, (std::vector<int>{0, 1, 2}));
}

TEST(SlowThread, ThatHangsKeepsNobodyWhoEnds)
{
    std::promise<void> share;
    std::promise<void> began;
    std::promise<void> ended;
    bool isCalled = false;
    boost::asio::io_context loop;
    std::optional<SlowThread> thread(loop);
    thread->Do(
        [&, hangs = share.get_future().share()]
        {
            began.set_value();
            hangs.wait();
            ended.set_value();
            return [&] { isCalled = true; };
        });
    thread->Do([&] { return [&] { isCalled = true; }; });
    began.get_future().wait();
    const auto begin = std::chrono::steady_clock::now();
    thread.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 20s);
    share.set_value();
    ended.get_future().wait();
    loop.run_for(20ms);
    EXPECT_FALSE(isCalled);
}

} // namespace
} // namespace master
