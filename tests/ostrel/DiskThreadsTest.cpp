#include "ostrel/DiskThreads.h"

#include <condition_variable>
#include <mutex>
#include <stdexcept>

#include <gtest/gtest.h>

#include "ostrel/Exception.h"

using ostrel::DiskThreads;
using ostrel::String;
using namespace std::chrono_literals;

namespace
{

/// A disk that answers nobody until it is told to.
class HangingDisk
{
public:
    ~HangingDisk()
    {
        Answer();
    }
    void Answer()
    {
        const std::lock_guard lock(m_mutex);
        m_answers = true;
        m_changed.notify_all();
    }
    void Look()
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [this] { return m_answers; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_answers = false;
};

class DiskThreadsTest : public testing::Test
{
protected:
    ~DiskThreadsTest() override
    {
        m_disk->Answer();
        EXPECT_TRUE(RunUntil([] { return !DiskThreads::AreLeft(); }));
    }

    template <typename IsDone> bool RunUntil(IsDone isDone)
    {
        const auto end = std::chrono::steady_clock::now() + 30s;
        while (!isDone() && std::chrono::steady_clock::now() < end)
        {
            m_loop.restart();
            m_loop.run_one_for(20ms);
        }
        return isDone();
    }

    void Do(std::function<int(DiskThreads::Course &)> work)
    {
        m_threads->Do<int>(
            std::move(work), [this](int number) { m_done.push_back(number); },
            [this](const String &reason) { m_failed.push_back(reason); },
            [this](std::chrono::seconds) { ++m_late; });
    }

    // What a thread holds that is left behind.
    std::shared_ptr<HangingDisk> m_disk = std::make_shared<HangingDisk>();
    boost::asio::io_context m_loop;
    std::unique_ptr<DiskThreads> m_threads =
        std::make_unique<DiskThreads>(m_loop, ostrel::DiskThreadLimits{2, 20ms, 50ms});
    std::vector<int> m_done;
    std::vector<String> m_failed;
    int m_late = 0;
};

} // namespace

TEST_F(DiskThreadsTest, GiveWhatTheWorkHasGivenOrWhyItFailed)
{
    Do([](DiskThreads::Course &) { return 7; });
    Do([](DiskThreads::Course &) -> int { throw new ostrel::Exception("no such disk"); });
    Do([](DiskThreads::Course &) -> int { throw std::runtime_error("full"); });
    EXPECT_TRUE(m_done.empty() && m_failed.empty()) << "not from within";
    EXPECT_TRUE(RunUntil([&] { return m_done.size() == 1 && m_failed.size() == 2; }));
    EXPECT_EQ(m_done, std::vector<int>{7});
}

TEST_F(DiskThreadsTest, GoOnWithOthersWhereAnyNumberHangs)
{
    for (int i = 0; i < 10; ++i)
        Do(
            [disk = m_disk, i](DiskThreads::Course &)
            {
                disk->Look();
                return i;
            });
    Do([](DiskThreads::Course &) { return 100; });
    EXPECT_TRUE(RunUntil([&] { return !m_done.empty(); }));
    EXPECT_EQ(m_done, std::vector<int>{100});
    EXPECT_TRUE(RunUntil([&] { return m_threads->Waiting() == 10; }));
    EXPECT_TRUE(RunUntil([&] { return m_late >= 30; })) << "each is told again and again";

    m_disk->Answer();
    EXPECT_TRUE(RunUntil([&] { return m_done.size() == 11; })) << "what comes late is told, too";
    EXPECT_EQ(m_threads->Waiting(), 0u);
}

TEST_F(DiskThreadsTest, AreNotLateAsLongAsTheyGetOn)
{
    // Longer than a thread has to wait for a busy processor.
    m_threads = std::make_unique<DiskThreads>(m_loop, ostrel::DiskThreadLimits{2, 500ms, 2s});
    Do(
        [](DiskThreads::Course &course)
        {
            const auto end = std::chrono::steady_clock::now() + 3s;
            while (std::chrono::steady_clock::now() < end)
                course.Note();
            return 1;
        });
    EXPECT_TRUE(RunUntil([&] { return !m_done.empty(); }));
    EXPECT_EQ(m_late, 0);
}

TEST_F(DiskThreadsTest, TellOnTheWay)
{
    std::vector<int> told;
    Do(
        [&told](DiskThreads::Course &course)
        {
            for (int i = 0; i < 3; ++i)
                course.Tell([&told, i] { told.push_back(i); });
            return 1;
        });
    EXPECT_TRUE(RunUntil([&] { return !m_done.empty(); }));
    EXPECT_EQ(told, (std::vector<int>{0, 1, 2}));
}

TEST_F(DiskThreadsTest, EndWithinSecondsWhereTheyHang)
{
    int told = 0;
    for (int i = 0; i < 3; ++i)
        Do(
            [disk = m_disk, &told](DiskThreads::Course &course)
            {
                disk->Look();
                course.Tell([&told] { ++told; });
                return 1;
            });
    EXPECT_TRUE(RunUntil([&] { return m_threads->Waiting() == 3; }));
    const auto begin = std::chrono::steady_clock::now();
    m_threads.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 5s);
    EXPECT_TRUE(DiskThreads::AreLeft());
    m_disk->Answer();
    EXPECT_TRUE(RunUntil([] { return !DiskThreads::AreLeft(); }));
    EXPECT_TRUE(m_done.empty() && told == 0) << "nobody is told any more";
}
