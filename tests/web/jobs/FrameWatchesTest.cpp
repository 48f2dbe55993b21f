#include "web/jobs/FrameWatches.h"

#include <chrono>
#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include "tests/support/TempFolder.h"
#include "tests/web/jobs/FarmSample.h"

using web::FarmJob;
using web::FrameWatches;
using namespace std::chrono_literals;

namespace
{

class FrameWatchesTest : public testing::Test
{
protected:
    FrameWatchesTest()
    {
        for (int frame = 1; frame <= 9; ++frame)
            Write(frame, 2000);
        m_job = FarmJob(m_folder.Folder().Text(), "1-9");
        m_book.Take(m_job);
        m_key = {m_job->ID(), 0};
    }

    void Write(int frame, std::size_t bytes)
    {
        m_folder.MakeFile("f.000" + std::to_string(frame) + ".raw", std::string(bytes, 'x'));
    }

    template <typename IsDone> bool RunUntil(IsDone isDone)
    {
        const auto end = std::chrono::steady_clock::now() + 30s;
        while (!isDone() && std::chrono::steady_clock::now() < end)
        {
            m_loop.restart();
            m_loop.run_one_for(100ms);
        }
        return isDone();
    }

    FrameWatches::Seen Ask(FrameWatches::Key key, FrameWatches::Wish wish)
    {
        std::optional<FrameWatches::Seen> told;
        m_watches.Ask(key, wish, [&](const FrameWatches::Seen &seen) { told = seen; });
        EXPECT_TRUE(RunUntil([&] { return told.has_value(); }));
        return told.value_or(FrameWatches::Seen());
    }

    TempFolder m_folder;
    boost::asio::io_context m_loop;
    web::JobBook m_book;
    boost::shared_ptr<corvan::Job> m_job;
    FrameWatches::Key m_key;
    std::vector<FrameWatches::Pass> m_told;
    FrameWatches m_watches{m_loop,
                           m_book,
                           {},
                           50ms,
                           [this](const FrameWatches::Key &, const FrameWatches::Pass &pass)
                           { m_told.push_back(pass); }};
};

} // namespace

TEST_F(FrameWatchesTest, OnePassServesAllWhoAsk)
{
    int told = 0;
    for (int i = 0; i < 200; ++i)
        m_watches.Ask(m_key, FrameWatches::Wish::Looked,
                      [&](const FrameWatches::Seen &seen)
                      {
                          EXPECT_TRUE(seen.snapshot);
                          ++told;
                      });
    EXPECT_TRUE(RunUntil([&] { return told == 200; }));
    EXPECT_EQ(m_watches.Passes(), 1u);
}

TEST_F(FrameWatchesTest, PassesGoOnWhileSomebodyWatchesAndNoLonger)
{
    m_watches.Watch(m_key);
    m_watches.Watch(m_key);
    EXPECT_TRUE(RunUntil([&] { return m_told.size() >= 2; }));
    m_watches.Unwatch(m_key);
    const std::size_t before = m_told.size();
    EXPECT_TRUE(RunUntil([&] { return m_told.size() >= before + 2; })) << "one is still there";

    m_watches.Unwatch(m_key);
    const std::size_t after = m_told.size();
    const auto end = std::chrono::steady_clock::now() + 500ms;
    while (std::chrono::steady_clock::now() < end)
    {
        m_loop.restart();
        m_loop.run_for(50ms);
    }
    EXPECT_LE(m_told.size(), after + 1) << "but for the pass that was under way";
}

TEST_F(FrameWatchesTest, TellsWhatIsNotAsItWas)
{
    m_watches.Watch(m_key);
    ASSERT_TRUE(RunUntil([&] { return !m_told.empty(); }));
    EXPECT_EQ(m_told[0].changes, R"({"ok":"1-9"})");
    EXPECT_EQ(m_told[0].snapshot->counts, R"({"ok":9})");

    Write(4, 10);
    m_told.clear();
    ASSERT_TRUE(RunUntil([&] { return !m_told.empty() && m_told.back().changes != "{}"; }));
    EXPECT_EQ(m_told.back().changes, R"({"too-small":"4"})");
    Write(5, 2001);
    m_told.clear();
    ASSERT_TRUE(RunUntil([&] { return !m_told.empty() && m_told.back().changes != "{}"; }));
    EXPECT_EQ(m_told.back().changes, R"({"ok":"5"})") << "another size, and as good as before";
    m_watches.Unwatch(m_key);
}

TEST_F(FrameWatchesTest, BeginsAnewWhereOtherFramesAreLookedFor)
{
    m_watches.Watch(m_key);
    ASSERT_TRUE(RunUntil([&] { return m_told.size() >= 2; }));
    const std::uint64_t passes = m_told.back().snapshot->pass;
    corvan::JobParameterMsg news;
    news.job = m_job->ID();
    news.name = corvan::p_CustomRange;
    news.value = "2-3";
    m_book.Take(news);
    m_told.clear();
    ASSERT_TRUE(RunUntil([&] { return m_told.size() >= 2 && m_told[m_told.size() - 2].isAnew; }));
    EXPECT_EQ(m_told.back().snapshot->counts, R"({"ok":2})");
    EXPECT_GT(m_told.back().snapshot->pass, passes) << "nobody takes them for the old ones";
    m_watches.Unwatch(m_key);
}

TEST_F(FrameWatchesTest, TellsWhatThereIsBeforeALongPassHasEnded)
{
    const auto job = FarmJob(m_folder.Folder().Text(), "1-100000");
    m_book.Take(job);
    FrameWatches watches(
        m_loop, m_book, {}, 50ms, [](const FrameWatches::Key &, const FrameWatches::Pass &) {},
        0ms);
    std::vector<std::string> told;
    const auto ask = [&](FrameWatches::Wish wish)
    {
        watches.Ask({job->ID(), 0}, wish,
                    [&](const FrameWatches::Seen &seen)
                    {
                        ASSERT_TRUE(seen.snapshot);
                        told.push_back(seen.snapshot->counts);
                    });
    };
    ask(FrameWatches::Wish::Looked);
    ask(FrameWatches::Wish::Listed);
    ASSERT_TRUE(RunUntil([&] { return told.size() == 2; }));
    EXPECT_EQ(told[0], "{}")
        << "they are listed later than patience lasts, and sooner than looked at";
    EXPECT_EQ(told[1], R"({"ok":9,"missing":99991})");
}

TEST_F(FrameWatchesTest, SaysWhyThereAreNoFrames)
{
    const struct
    {
        FrameWatches::Key key;
        unsigned status;
    } cases[] = {
        {{ostrel::UID(true), 0}, 404},
        {{m_job->ID(), 1}, 404},
    };
    for (const auto &[key, status] : cases)
    {
        const FrameWatches::Seen seen = Ask(key, FrameWatches::Wish::Listed);
        EXPECT_EQ(seen.status, status);
        EXPECT_FALSE(seen.trouble.empty());
    }
    const auto large = FarmJob(m_folder.Folder().Text(), "1-1000001");
    m_book.Take(large);
    EXPECT_EQ(Ask({large->ID(), 0}, FrameWatches::Wish::Looked).status, 413u);
    const auto nowhere = FarmJob(m_folder.Folder().Text() + "/f.0001.raw/below", "1-3");
    m_book.Take(nowhere);
    const auto seen = Ask({nowhere->ID(), 0}, FrameWatches::Wish::Looked);
    EXPECT_TRUE(seen.snapshot || seen.status == 503u) << seen.status;
}
