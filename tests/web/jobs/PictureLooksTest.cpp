#include "web/jobs/PictureLooks.h"

#include <condition_variable>
#include <mutex>

#include <gtest/gtest.h>

#include "check/CheckException.h"
#include "tests/support/TempFolder.h"
#include "tests/web/jobs/FarmSample.h"

using web::PictureLooks;
using namespace std::chrono_literals;

namespace
{

// Looks that end when the test says so.
class PictureLooksTest : public testing::Test
{
protected:
    PictureLooksTest()
    {
        Begin({.atOnce = 5, .waits = 60s, .late = 60s});
    }
    ~PictureLooksTest() override
    {
        Let(1000);
    }

    void Begin(ostrel::DiskThreadLimits limits)
    {
        m_looks.emplace(
            m_loop,
            [this](check::TableDecoder &decoder, const web::FrameSnapshot &, std::size_t row,
                   const std::function<void()> &)
            {
                std::unique_lock lock(m_mutex);
                m_begun.push_back(row);
                m_decoders.push_back(&decoder);
                m_mayEnd.wait(lock, [this] { return m_let > 0; });
                --m_let;
                if (row == 99)
                    throw new check::CheckException("no decoder");
                if (row == 98)
                    throw new web::MoreToRead("1 of 2");
                return "{\"row\":" + std::to_string(row) + "}";
            },
            limits);
    }

    void Let(int looks)
    {
        const std::lock_guard lock(m_mutex);
        m_let += looks;
        m_mayEnd.notify_all();
    }

    std::vector<std::size_t> Begun()
    {
        const std::lock_guard lock(m_mutex);
        return m_begun;
    }

    void Ask(const std::string &visitor, std::size_t row)
    {
        m_looks->Ask({visitor, m_snapshot, row},
                     [this, visitor, row](const PictureLooks::Answer &answer)
                     {
                         m_told.push_back(visitor + std::to_string(row) + ": " +
                                          std::to_string(answer.status) + " " + answer.json +
                                          std::string(answer.trouble) +
                                          (answer.goesOn ? ", goes on" : ""));
                     });
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
    bool RunUntilTold(std::size_t count)
    {
        return RunUntil([&] { return m_told.size() >= count; });
    }

    TempFolder m_folder;
    web::SnapshotPointer m_snapshot =
        web::ListFramesOf(*web::FarmJob(m_folder.Folder().Text(), "1-9"), 0, 0);
    boost::asio::io_context m_loop;
    std::mutex m_mutex; // Over what follows, up to `m_told`.
    std::condition_variable m_mayEnd;
    int m_let = 0;
    std::vector<std::size_t> m_begun;
    std::vector<check::TableDecoder *> m_decoders;
    std::vector<std::string> m_told;
    std::optional<PictureLooks> m_looks;
};

using Texts = std::vector<std::string>;

TEST_F(PictureLooksTest, AreMadeOneAfterTheOther)
{
    Ask("a", 1);
    Ask("b", 2);
    EXPECT_TRUE(RunUntil([this] { return Begun().size() == 1; }));
    Let(1);
    EXPECT_TRUE(RunUntilTold(1));
    EXPECT_TRUE(RunUntil([this] { return Begun().size() == 2; }));
    EXPECT_EQ(m_told, Texts{"a1: 200 {\"row\":1}"});
    Let(1);
    EXPECT_TRUE(RunUntilTold(2));
    EXPECT_EQ(m_told.back(), "b2: 200 {\"row\":2}");
}

TEST_F(PictureLooksTest, OfAVisitorAreThoseThatWereWishedForLast)
{
    Ask("a", 1);
    Ask("a", 2);
    Ask("b", 3);
    Ask("a", 4);
    EXPECT_EQ(m_told, Texts{"a2: 429 another frame was asked for meanwhile"});
    Let(3);
    EXPECT_TRUE(RunUntilTold(4));
    EXPECT_EQ(Begun(), (std::vector<std::size_t>{1, 4, 3}));
}

TEST_F(PictureLooksTest, AreNotWaitedForByMany)
{
    for (const char *visitor : {"a", "b", "c", "d"})
        Ask(visitor, 1);
    EXPECT_EQ(m_told, Texts{"d1: 429 too many pictures are looked at: try again soon"});
    Let(3);
    EXPECT_TRUE(RunUntilTold(4));
    Ask("d", 1);
    Let(1);
    EXPECT_TRUE(RunUntilTold(5));
    EXPECT_EQ(m_told.back(), "d1: 200 {\"row\":1}");
}

TEST_F(PictureLooksTest, TellWhyThereIsNoVerdictAndGoOn)
{
    Ask("a", 99);
    Ask("b", 98);
    Ask("c", 1);
    Let(3);
    EXPECT_TRUE(RunUntilTold(3));
    EXPECT_EQ(m_told,
              (Texts{"a99: 503 no decoder", "b98: 503 1 of 2, goes on", "c1: 200 {\"row\":1}"}));
}

TEST_F(PictureLooksTest, RememberWhatWasReadWhoeverAsksAndOfWhateverJob)
{
    Let(1000);
    Ask("a", 1);
    EXPECT_TRUE(RunUntilTold(1));
    m_snapshot = web::ListFramesOf(*web::FarmJob(m_folder.Folder().Text(), "1-9"), 0, 0);
    Ask("b", 2);
    EXPECT_TRUE(RunUntilTold(2));
    EXPECT_EQ(m_decoders[0], m_decoders[1]);
    EXPECT_EQ(m_decoders[0]->MostFiles(), PictureLooks::k_MostRemembered) << "and not all";
}

TEST_F(PictureLooksTest, OfADiskThatHangsHoldUpNobodyElse)
{
    m_looks.reset();
    Begin({.atOnce = 5, .waits = 50ms, .late = 100ms});
    Ask("a", 1);
    Ask("b", 2);
    EXPECT_TRUE(RunUntilTold(1));
    EXPECT_EQ(m_told[0], "a1: 503 reading the frames around has not answered for 0 s: the disk or "
                         "the network hangs");
    EXPECT_TRUE(RunUntil([this] { return Begun().size() == 2; }));
    EXPECT_NE(m_decoders[0], m_decoders[1]) << "the first is held";
    Let(2);
    EXPECT_TRUE(RunUntilTold(2));
    EXPECT_EQ(m_told.size(), 2u) << "what comes late is not told";
}

TEST_F(PictureLooksTest, AreRefusedWhereManyHang)
{
    m_looks.reset();
    Begin({.atOnce = 5, .waits = 20ms, .late = 40ms});
    for (std::size_t look = 1; look <= PictureLooks::k_MostHanging; ++look)
    {
        Ask("a", look);
        EXPECT_TRUE(RunUntilTold(look));
    }
    Ask("a", 9);
    EXPECT_TRUE(m_told.back().starts_with("a9: 503 too many looks at pictures")) << m_told.back();
}

} // namespace
