#include "analysis/FrameLooks.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

using namespace analysis;

namespace
{

std::vector<FrameRecord> Frames(int count)
{
    std::vector<FrameRecord> frames;
    for (int frame = 1; frame <= count; ++frame)
        frames.emplace_back().frame = frame;
    return frames;
}

/// Every file is as large as its number; multiples of ten are missing.
class NumberFinder : public NameFinder
{
public:
    int Look(const std::string &name, FileLook &look) const override
    {
        const auto number = std::uint64_t(std::stoi(name));
        look = {number % 10 != 0, number, Time(std::int64_t(number) * 1000)};
        return int(number) == refused ? EACCES : 0;
    }

    int refused = 0;
};

/// Answers only when so many look at once, or, so that the test ends, when none come any more.
class SlowFinder : public NameFinder
{
public:
    explicit SlowFinder(unsigned wanted) : m_wanted(wanted) {}

    int Look(const std::string &, FileLook &look) const override
    {
        look = {};
        std::unique_lock lock(m_mutex);
        m_most = std::max(m_most, ++m_inside);
        m_news.notify_all();
        m_news.wait_for(lock, std::chrono::milliseconds(20), [this] { return m_most >= m_wanted; });
        --m_inside;
        return 0;
    }

    unsigned Most() const
    {
        return m_most;
    }

private:
    const unsigned m_wanted;
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_news;
    mutable unsigned m_inside = 0;
    mutable unsigned m_most = 0;
};

String Look(std::vector<FrameRecord> &frames, const NameFinder &finder)
{
    const auto pattern = FramePattern::Parse("/r/%d", nullptr);
    return LookAtFrames(FrameNames(*pattern), finder, frames, [](std::size_t) {});
}

} // namespace

TEST(FrameLooks, StoreWhatIsSeenOfEachFrame)
{
    for (const int count : {0, 1, 2, 31, 33, 10'000})
    {
        std::vector<FrameRecord> frames = Frames(count);
        if (count > 9)
            frames[9].exists = true; // And is gone.
        ASSERT_EQ(Look(frames, NumberFinder()), "");
        for (const FrameRecord &frame : frames)
        {
            const bool exists = frame.frame % 10 != 0;
            ASSERT_EQ(frame.exists, exists) << frame.frame;
            ASSERT_EQ(frame.size, exists ? std::uint64_t(frame.frame) : 0);
            ASSERT_EQ(frame.modified, exists ? Time(frame.frame * 1000) : Time());
        }
    }
}

TEST(FrameLooks, EndWithTheReasonWhereAFileCannotBeLookedAt)
{
    std::vector<FrameRecord> frames = Frames(5000);
    NumberFinder finder;
    finder.refused = 4321;
    EXPECT_EQ(Look(frames, finder), "cannot look into /r for 4321: Permission denied");
}

TEST(FrameLooks, AreManyAtOnceWhereLookingMeansWaiting)
{
    std::vector<FrameRecord> frames = Frames(4000);
    const SlowFinder finder(k_MostLookers);
    EXPECT_EQ(Look(frames, finder), "");
    EXPECT_EQ(finder.Most(), k_MostLookers);
}
