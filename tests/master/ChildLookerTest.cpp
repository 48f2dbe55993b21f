#include "master/frames/ChildLooker.h"

#include <boost/asio/io_context.hpp>
#include <filesystem>
#include <map>

#include <gtest/gtest.h>

#include "tests/support/TempFolder.h"

namespace master
{
namespace
{

using check::LookAnswer;
using check::LookRequest;

class ChildLookerTest : public testing::Test, protected LookListener
{
protected:
    ChildLookerTest()
    {
        for (int frame = 1; frame <= 3; ++frame)
            m_folder.MakeFile("r/f." + std::to_string(frame), std::string(1000, 'x'));
        m_request.formats = {(m_folder / "r/f.%d").Text()};
        m_request.input.userRange = "1-4";
        m_request.depth = LookRequest::Depth::Sizes;
    }

    void OnLooked(int look, const LookAnswer &answer) override
    {
        EXPECT_TRUE(m_answers.emplace(look, answer).second) << "it is told twice";
    }

    LookAnswer WaitFor(int look)
    {
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (!m_answers.contains(look) && std::chrono::steady_clock::now() < limit)
        {
            m_loop.restart();
            m_loop.run_one_for(std::chrono::milliseconds(100));
        }
        return m_answers[look];
    }

    TempFolder m_folder;
    LookRequest m_request;
    boost::asio::io_context m_loop;
    std::map<int, LookAnswer> m_answers;
    ChildLooker m_looker{m_loop, m_folder / "looks"};
};

TEST_F(ChildLookerTest, TellsWhatTheFramesAre)
{
    m_looker.Start(1, m_request, *this);
    EXPECT_TRUE(m_answers.empty()) << "from within";
    const LookAnswer answer = WaitFor(1);
    EXPECT_EQ(answer.trouble, "");
    EXPECT_EQ(answer.counts, "ok 3, missing 1");
    EXPECT_EQ(check::AllOf(answer.bad), (corvan::SequenceDistributor::Items{4}));
    EXPECT_TRUE(std::filesystem::is_empty((m_folder / "looks").Text().c_str()))
        << "nothing is left";
}

TEST_F(ChildLookerTest, LooksAtSeveralAtATime)
{
    for (int look = 1; look <= 5; ++look)
        m_looker.Start(look, m_request, *this);
    for (int look = 1; look <= 5; ++look)
        EXPECT_EQ(WaitFor(look).counts, "ok 3, missing 1") << look;
}

TEST_F(ChildLookerTest, TellsWhyItCouldNotLook)
{
    m_request.formats = {(m_folder / "away/f.%d").Text()};
    m_looker.Start(1, m_request, *this);
    EXPECT_EQ(WaitFor(1).trouble, "the folder " + (m_folder / "away").Text() + " is not there");

    m_request.input.userRange = ostrel::String(std::string(2'000'000, '1'));
    m_looker.Start(2, m_request, *this);
    EXPECT_EQ(WaitFor(2).trouble, "the range and the patterns of the job are too long to be "
                                  "handed over to a program");
}

TEST_F(ChildLookerTest, LetsNoLookTakeAllOfTheMachine)
{
    const Command sizes = m_looker.CommandFor(1, m_request, {});
    EXPECT_EQ(sizes.limits.seconds, 600u);
    EXPECT_EQ(sizes.limits.memoryMb, 1024u);
    EXPECT_EQ(sizes.limits.logMb, 16u);
    EXPECT_EQ(sizes.limits.nice, 10u);
    for (const auto depth : {LookRequest::Depth::Images, LookRequest::Depth::Pictures})
    {
        m_request.depth = depth;
        const Command images = m_looker.CommandFor(1, m_request, {});
        EXPECT_EQ(images.limits.seconds, 12u * 3600);
        EXPECT_EQ(images.limits.memoryMb, 6144u);
        EXPECT_EQ(images.limits.nice, 10u);
    }
}

TEST_F(ChildLookerTest, EndsALookThatNobodyWantsAnyMore)
{
    // Takes a second and more.
    m_request.input.userRange = "1-1000000";
    m_looker.Start(1, m_request, *this);
    m_looker.End(1);
    const LookAnswer answer = WaitFor(1);
    EXPECT_NE(answer.trouble, "");
    EXPECT_FALSE(answer.isJudged);
}

TEST_F(ChildLookerTest, TellsThatItHasNoRoomForWhatIsToBeTold)
{
    // What is in the place of its folder is a file.
    std::filesystem::remove_all((m_folder / "looks").Text().c_str());
    ChildLooker looker(m_loop, m_folder.MakeFile("file") / "looks");
    looker.Start(1, m_request, *this);
    EXPECT_NE(WaitFor(1).trouble.find("cannot make folder"), ostrel::String::npos)
        << m_answers[1].trouble;
}

// What it reads comes from others, and may have made something else of it.
TEST_F(ChildLookerTest, TakesNoProgramAtItsWord)
{
    const struct
    {
        const char *what;
        const char *says;
        const char *trouble;
    } cases[] = {
        {"what is so", "counts ok 3, missing 1\\nbad 00000000000000aa 4", ""},
        {"a frame that the job does not write", "counts ok 3, missing 1\\nbad 00000000000000aa 5",
         "corvan-check gave no proper answer"},
        {"a million of them", "counts ok 0, missing 4\\nmany\\nbad 00000000000000aa 1-1000000",
         "corvan-check gave no proper answer"},
        {"another thing", "hello", "corvan-check gave no proper answer"},
    };
    int look = 0;
    for (const auto &[what, says, trouble] : cases)
    {
        const ostrel::Path program = m_folder.MakeFile(
            "says", std::string("#!/bin/sh\nprintf 'corvan-check 1\\nprint 00000000000000cc\\n") +
                        says + "\\nend\\n'\n");
        std::filesystem::permissions(program.Text().c_str(), std::filesystem::perms::owner_all);
        ChildLooker looker(m_loop, m_folder / "looks", {}, program);
        looker.Start(++look, m_request, *this);
        EXPECT_EQ(WaitFor(look).trouble, trouble) << what;
        EXPECT_EQ(m_answers[look].isJudged, *trouble == '\0') << what;
    }
}

TEST_F(ChildLookerTest, ClearsAwayWhatAnEarlierOneHasLeft)
{
    m_folder.MakeFile("looks/1.txt", "left");
    m_looker.Start(2, m_request, *this);
    EXPECT_EQ(WaitFor(2).trouble, "");
    EXPECT_TRUE(std::filesystem::is_empty((m_folder / "looks").Text().c_str()));
}

} // namespace
} // namespace master
