#include "keeper/BoundedLog.h"

#include <csignal>
#include <filesystem>
#include <sys/resource.h>

#include <gtest/gtest.h>

#include "tests/support/TempFolder.h"

using keeper::BoundedLog;

namespace
{

class BoundedLogTest : public ::testing::Test
{
protected:
    void Open(long long mostBytes)
    {
        std::string reason;
        ASSERT_TRUE(m_log.Open(Name(), mostBytes, &reason)) << reason;
    }

    std::string Name() const
    {
        return (m_folder / "log").Text();
    }

    std::string Content() const
    {
        return ContentOf(m_folder / "log");
    }

    TempFolder m_folder;
    BoundedLog m_log;
};

std::string Line(int number)
{
    return "line " + std::to_string(number) + "\n";
}

} // namespace

TEST_F(BoundedLogTest, HoldsAllOfAShortText)
{
    m_folder.MakeFile("log", "of an earlier try");
    Open(10'000);
    m_log.Append("one\n");
    m_log.Append("two\n");
    EXPECT_EQ(Content(), "one\ntwo\n");
}

TEST_F(BoundedLogTest, KeepsTheBeginningAndTheEndOfALongOneAndTellsWhatIsMissing)
{
    constexpr long long k_most = 20'000;
    Open(k_most);
    std::string all;
    for (int number = 0; number < 30'000; ++number)
    {
        m_log.Append(Line(number));
        all += Line(number);
        if (number % 1000 == 0)
        {
            ASSERT_LE(std::filesystem::file_size(Name()), std::uintmax_t(k_most)) << number;
            ASSERT_TRUE(Content().ends_with(Line(number))) << "it can be read meanwhile";
        }
    }

    const std::string content = Content();
    const std::size_t gap = content.find("\n[corvan-task: ");
    ASSERT_NE(gap, std::string::npos);
    const std::size_t gapEnd = content.find("]\n", gap) + 2;
    const std::string head = content.substr(0, gap), tail = content.substr(gapEnd);
    EXPECT_GE(head.size(), std::size_t(k_most / 4));
    EXPECT_GE(tail.size(), std::size_t(k_most / 4));
    EXPECT_TRUE(all.starts_with(head));
    EXPECT_TRUE(all.ends_with(tail));
    EXPECT_EQ(std::stoll(content.substr(gap + 14)),
              (long long)(all.size() - head.size() - tail.size()));
    EXPECT_EQ(content.find("[corvan-task", gapEnd), std::string::npos);
}

TEST_F(BoundedLogTest, TakesAPieceThatIsLongerThanItself)
{
    Open(10'000);
    m_log.Append(std::string(1'000'000, 'x') + "\nend\n");
    EXPECT_LE(std::filesystem::file_size(Name()), 10'000u);
    EXPECT_TRUE(Content().ends_with("\nend\n"));
}

TEST_F(BoundedLogTest, LeavesOutWhatTheDiskDoesNotTake)
{
    Open(1'000'000);
    m_log.Append("before\n");
    ::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    ::getrlimit(RLIMIT_FSIZE, &before);
    rlimit full = before;
    full.rlim_cur = 7;
    ::setrlimit(RLIMIT_FSIZE, &full);
    m_log.Append("lost\n");
    ::setrlimit(RLIMIT_FSIZE, &before);
    ::signal(SIGXFSZ, SIG_DFL);
    m_log.Append("after\n");
    EXPECT_EQ(Content(), "before\nafter\n");
}

TEST_F(BoundedLogTest, SaysWhyItCannotBeWritten)
{
    std::string reason;
    const std::string folder = m_folder.MakeFolder("folder").Text();
    EXPECT_FALSE(m_log.Open(folder, 10'000, &reason));
    EXPECT_EQ(reason, "cannot write " + folder + ": Is a directory");
}
