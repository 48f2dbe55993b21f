#include "web/pictures/Decoders.h"

#include <map>
#include <set>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "decode/ServeDecoder.h"
#include "tests/support/Printing.h"
#include "tests/support/TempFolder.h"
#include "tests/web/pictures/TurnLoop.h"

using namespace web;
using decode::DecodeRequest;
using decode::PictureWish;

namespace
{

DecoderSettings WildSettings()
{
    DecoderSettings settings;
    settings.program = WILD_DECODER_PROGRAM;
    settings.count = 2;
    settings.memoryMib = 64;
    return settings;
}

class DecodersTest : public testing::Test
{
protected:
    ~DecodersTest() override
    {
        m_decoders.reset();
        EXPECT_FALSE(HasAnyChild()) << "something is left running";
    }

    void Start(const DecoderSettings &settings)
    {
        m_decoders = std::make_unique<Decoders>(m_loop, settings);
    }

    bool Ask(const Path &path, bool isPicture = true)
    {
        DecodeRequest request{path, std::nullopt};
        if (isPicture)
            request.picture = PictureWish();
        const std::size_t number = m_asked++;
        const bool isTaken = m_decoders->Ask(
            request, [this, number](Decoders::Answer answer)
            { EXPECT_TRUE(m_answers.emplace(number, std::move(answer)).second) << "told twice"; });
        EXPECT_FALSE(m_answers.contains(number)) << "told from within";
        return isTaken;
    }

    bool WaitForAll()
    {
        return TurnUntil(m_loop, [this] { return m_answers.size() == m_asked; });
    }

    boost::asio::io_context m_loop;
    std::unique_ptr<Decoders> m_decoders;
    std::size_t m_asked = 0;
    std::map<std::size_t, Decoders::Answer> m_answers; // By the order of the questions.
};

} // namespace

TEST_F(DecodersTest, AnswersEveryRequestByAsManyChildrenAsThereArePlaces)
{
    Start(WildSettings());
    for (int i = 0; i < 60; ++i)
        ASSERT_TRUE(Ask("/r/f" + std::to_string(i) + ".exr", i % 3 != 0));
    ASSERT_TRUE(WaitForAll());
    std::set<std::string> processes;
    for (const auto &[number, answer] : m_answers)
    {
        EXPECT_EQ(answer.trouble + answer.picture.trouble + answer.picture.reason, "");
        const std::string name = "f" + std::to_string(number);
        if (number % 3 == 0)
        {
            EXPECT_EQ(answer.report.format, name);
            continue;
        }
        EXPECT_NE(answer.picture.jpeg.find("/r/" + name + ".exr 256"), std::string::npos);
        processes.insert(answer.picture.jpeg.substr(3, answer.picture.jpeg.find(' ') - 3));
    }
    EXPECT_LE(processes.size(), 2u);
    EXPECT_LE(m_decoders->Processes(), 2u);
}

TEST_F(DecodersTest, TakesAPictureOfManyMessages)
{
    Start(WildSettings());
    ASSERT_TRUE(Ask("/r/3000000.exr"));
    ASSERT_TRUE(WaitForAll());
    EXPECT_EQ(m_answers.at(0).picture.jpeg.size(), 3'000'005u);
}

TEST_F(DecodersTest, OutlivesAFileThatEndsItsDecoder)
{
    const struct
    {
        const char *name;
        const char *trouble;
        const char *reason;
    } cases[] = {
        {"crash", "", "its decoder ended by signal 11 (Segmentation fault)"},
        {"abort", "", "its decoder ended by signal 6 (Aborted)"},
        {"leave", "", "its decoder ended with status 3"},
        {"kill", "its decoder ended by signal 9 (Killed)", ""},
        {"throw", "", "thrown and caught"},
        {"nonsense", "", "its decoder gave no proper answer"},
        {"unlike", "", "its decoder gave no proper answer"},
        {"refused", "", "nothing to see"},
        {"refuse", "no thread: Resource temporarily unavailable", ""},
    };
    for (const auto &[name, trouble, reason] : cases)
    {
        SCOPED_TRACE(name);
        m_answers.clear();
        m_asked = 0;
        Start(WildSettings());
        const Path path = "/r/" + std::string(name) + ".exr";
        for (const Path &file : {Path("/r/a.exr"), path, Path("/r/b.exr"), path, Path("/r/c.exr")})
            ASSERT_TRUE(Ask(file));
        ASSERT_TRUE(WaitForAll());
        for (const auto &[number, answer] : m_answers)
        {
            const bool isWild = number % 2 == 1;
            EXPECT_EQ(answer.picture.trouble, isWild ? trouble : "");
            EXPECT_EQ(answer.picture.reason, isWild ? reason : "");
            EXPECT_EQ(answer.picture.jpeg.empty(), isWild);
            EXPECT_FALSE(answer.isOurFault);
        }
    }
}

TEST_F(DecodersTest, WaitsForNoFileBeyondItsTime)
{
    DecoderSettings settings = WildSettings();
    settings.count = 1;
    settings.time = std::chrono::seconds(1);
    Start(settings);
    ASSERT_TRUE(Ask("/r/hang.exr"));
    ASSERT_TRUE(Ask("/r/a.exr"));
    ASSERT_TRUE(Ask("/r/hang.exr", false));
    ASSERT_TRUE(WaitForAll());
    EXPECT_EQ(m_answers.at(0).picture.trouble, "took longer than 1 s");
    EXPECT_EQ(m_answers.at(0).picture.reason, "");
    EXPECT_NE(m_answers.at(1).picture.jpeg, "");
    EXPECT_EQ(m_answers.at(2).report.trouble, "took longer than 1 s");
}

TEST_F(DecodersTest, GivesAFileNoMoreMemoryThanItMayHave)
{
    if (!decode::k_IsMemoryLimited)
        GTEST_SKIP() << "sanitizers reserve the whole address space";
    Start(WildSettings());
    for (const char *file : {"/r/eat.exr", "/r/a.exr", "/r/eat.exr", "/r/b.exr"})
        ASSERT_TRUE(Ask(file));
    ASSERT_TRUE(WaitForAll());
    for (const std::size_t number : {0, 2})
    {
        EXPECT_EQ(m_answers.at(number).picture.trouble, "takes more memory than 64 MiB");
        EXPECT_NE(m_answers.at(number + 1).picture.jpeg, "");
    }
}

TEST_F(DecodersTest, TakesNoMoreRequestsThanMayWait)
{
    DecoderSettings settings = WildSettings();
    settings.count = 1;
    settings.mostWaiting = 3;
    settings.time = std::chrono::seconds(1);
    Start(settings);
    ASSERT_TRUE(Ask("/r/hang.exr"));
    ASSERT_TRUE(Ask("/r/a.exr"));
    ASSERT_TRUE(Ask("/r/b.exr"));
    EXPECT_FALSE(Ask("/r/c.exr"));
    --m_asked;
    ASSERT_TRUE(WaitForAll());
    EXPECT_TRUE(Ask("/r/d.exr")) << "there is room again";
    ASSERT_TRUE(WaitForAll());
}

TEST_F(DecodersTest, SaysThatItIsOurFaultWhenNoDecoderCanBeStarted)
{
    const struct
    {
        const char *program;
        const char *trouble;
    } cases[] = {
        {"/no/such/program", "cannot start /no/such/program: No such file or directory"},
        {"/bin/false", "/bin/false is no decoder: it ended with status 1"},
    };
    for (const auto &[program, trouble] : cases)
    {
        m_answers.clear();
        m_asked = 0;
        DecoderSettings settings = WildSettings();
        settings.program = program;
        Start(settings);
        for (int i = 0; i < 2; ++i) // The second time it is tried again.
        {
            ASSERT_TRUE(Ask("/r/a.exr"));
            ASSERT_TRUE(Ask("/r/b.exr", false));
            ASSERT_TRUE(WaitForAll());
        }
        for (const auto &[number, answer] : m_answers)
        {
            EXPECT_TRUE(answer.isOurFault);
            EXPECT_EQ(answer.trouble, trouble);
        }
    }
}

TEST_F(DecodersTest, EndsADecoderThatHasNothingToDo)
{
    DecoderSettings settings = WildSettings();
    settings.idle = std::chrono::seconds(1);
    Start(settings);
    ASSERT_TRUE(Ask("/r/a.exr"));
    ASSERT_TRUE(WaitForAll());
    EXPECT_GE(m_decoders->Processes(), 1u);
    EXPECT_TRUE(TurnUntil(m_loop, [this] { return m_decoders->Processes() == 0; }));
    EXPECT_FALSE(HasAnyChild());
    ASSERT_TRUE(Ask("/r/b.exr"));
    ASSERT_TRUE(WaitForAll());
    EXPECT_NE(m_answers.at(1).picture.jpeg, "");
}

TEST_F(DecodersTest, LeavesNothingRunningWhenItGoes)
{
    Start(WildSettings());
    for (int i = 0; i < 6; ++i)
        ASSERT_TRUE(Ask(i % 2 ? "/r/hang.exr" : "/r/a.exr"));
    ASSERT_TRUE(TurnUntil(m_loop, [this] { return !m_answers.empty(); }));
    const std::size_t before = m_answers.size();
    m_decoders.reset();
    EXPECT_FALSE(HasAnyChild());
    m_loop.restart();
    m_loop.run(); // What is left of them in the loop does no harm.
    EXPECT_EQ(m_answers.size(), before) << "told after the end";
}
