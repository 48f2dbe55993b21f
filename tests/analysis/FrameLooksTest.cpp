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

std::vector<FrameRecord> NumberedFrames(int count)
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
    explicit NumberFinder(int refused) : m_refused(refused) {}

    int Look(const std::string &name, FileLook &look) override
    {
        const auto number = std::uint64_t(std::stoi(name));
        look = {number % 10 != 0, number, Time(std::int64_t(number) * 1000)};
        return int(number) == m_refused ? EACCES : 0;
    }

private:
    const int m_refused;
};

/// A place that opens only when so many are there at once, or, so that the test ends, when none
/// come any more.
struct Gate
{
    std::mutex mutex;
    std::condition_variable news;
    unsigned inside = 0;
    unsigned most = 0;
};

class SlowFinder : public NameFinder
{
public:
    explicit SlowFinder(Gate &gate) : m_gate(gate) {}

    int Look(const std::string &, FileLook &look) override
    {
        look = {};
        std::unique_lock lock(m_gate.mutex);
        m_gate.most = std::max(m_gate.most, ++m_gate.inside);
        m_gate.news.notify_all();
        m_gate.news.wait_for(lock, std::chrono::milliseconds(20),
                             [this] { return m_gate.most >= k_MostLookers; });
        --m_gate.inside;
        return 0;
    }

private:
    Gate &m_gate;
};

String LookAt(std::vector<FrameRecord> &frames, const MakeNameFinder &makeFinder)
{
    const auto pattern = FramePattern::Parse("/r/%d", nullptr);
    return LookAtFrames(FrameNames(*pattern), makeFinder, frames, [](std::size_t) {});
}

MakeNameFinder Numbers(int refused = 0)
{
    return [refused] { return std::make_unique<NumberFinder>(refused); };
}

} // namespace

TEST(FrameLooks, StoreWhatIsSeenOfEachFrame)
{
    for (const int count : {0, 1, 2, 31, 33, 10'000})
    {
        std::vector<FrameRecord> frames = NumberedFrames(count);
        if (count > 9)
            frames[9].exists = true; // And is gone.
        ASSERT_EQ(LookAt(frames, Numbers()), "");
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
    std::vector<FrameRecord> frames = NumberedFrames(5000);
    EXPECT_EQ(LookAt(frames, Numbers(4321)), "cannot look into /r for 4321: Permission denied");
}

TEST(FrameLooks, AreManyAtOnceWhereLookingMeansWaiting)
{
    std::vector<FrameRecord> frames = NumberedFrames(4000);
    Gate gate;
    EXPECT_EQ(LookAt(frames, [&gate] { return std::make_unique<SlowFinder>(gate); }), "");
    EXPECT_EQ(gate.most, k_MostLookers);
}
