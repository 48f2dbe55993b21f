#include "cli/VisitJobs.h"

#include <cstdio>
#include <pty.h>
#include <thread>
#include <unistd.h>
#include <utility>

#include <gtest/gtest.h>

#include "cli/RunCorvan.h"
#include "corvan/MessageFactory.h"
#include "tests/check/SampleJob.h"
#include "tests/support/FakeMaster.h"
#include "tests/support/TempFolder.h"

namespace cli
{

using check::SampleJob;
namespace
{

const char *const k_ids[] = {
    "aaaa1111-0000-4000-8000-000000000001", "bbbb2222-0000-4000-8000-000000000002",
    "cccc3333-0000-4000-8000-000000000003", "dddd4444-0000-4000-8000-000000000004",
    "eeee5555-0000-4000-8000-000000000005",
};

void Answer(FakeMaster &master, const corvan::wire::Envelope &request, const Message &message)
{
    corvan::wire::Envelope answer;
    corvan::MessageFactory::ToEnvelope(message, answer);
    answer.set_answers(request.serial());
    master.Send(answer);
}

// Answers list requests with two jobs at a time of five that are named as they are counted, and
// then one for the tasks of a job, which has none.
void ServeParts(FakeMaster &master, std::size_t parts, bool hasTasks)
{
    for (std::size_t part = 0; part < parts; ++part)
    {
        const corvan::wire::Envelope request = master.LastOf(2 + part);
        EXPECT_TRUE(request.has_list_jobs());
        EXPECT_EQ(request.list_jobs().before(), part == 0 ? "" : k_ids[2 * part - 1]);

        corvan::JobListMsg list;
        for (std::size_t i = 2 * part; i < std::min<std::size_t>(2 * part + 2, 5); ++i)
            list.jobs.push_back(SampleJob(k_ids[i], ("shot" + std::to_string(i)).c_str()));
        if (part < 2)
            list.restBefore = list.jobs.back()->ID();
        Answer(master, request, list);
    }
    if (!hasTasks)
        return;
    const corvan::wire::Envelope request = master.LastOf(2 + parts);
    corvan::TaskListMsg tasks;
    tasks.job = UID(request.get_tasks().job(), false);
    Answer(master, request, tasks);
}

TEST(VisitJobs, AsksForPartAfterPartUntilItHasWhatItNeeds)
{
    const struct
    {
        std::vector<std::string> arguments;
        std::size_t parts;
        std::vector<const char *> shown;
        const char *notShown;
    } cases[] = {
        {{"list"}, 3, {"shot0", "shot1", "shot2", "shot3", "shot4"}, "none"},
        {{"list", "--json"}, 3, {"shot0", "shot4"}, "none"},
        {{"list", "--limit", "2"}, 1, {"shot0", "shot1"}, "shot2"},
        {{"show", "shot4"}, 3, {"eeee5555"}, "shot3"},
        {{"show", "CCCC3"}, 3, {"shot2"}, "shot1"},
    };
    for (const auto &[arguments, parts, shown, notShown] : cases)
    {
        const TempFolder folder;
        const std::string address = "unix:" + (folder / "m.sock").Text();
        FakeMaster master(address);
        std::vector<std::string> all = arguments;
        all.insert(all.end(), {"--master", address, "--options", (folder / "none.ini").Text()});
        const bool hasTasks = arguments.front() == "show";
        testing::internal::CaptureStdout();
        {
            std::jthread answering([&, count = parts] { ServeParts(master, count, hasTasks); });
            EXPECT_EQ(RunCorvan(all), k_Done) << arguments.front();
        }
        const std::string printed = testing::internal::GetCapturedStdout();
        for (const char *text : shown)
            EXPECT_NE(printed.find(text), std::string::npos) << text << " in " << printed;
        EXPECT_EQ(printed.find(notShown), std::string::npos) << printed;
    }
}

// Standard output is a terminal for as long as this lives.
class Terminal
{
public:
    Terminal() : m_kept(::dup(STDOUT_FILENO))
    {
        int terminal = -1;
        EXPECT_EQ(::openpty(&m_screen, &terminal, nullptr, nullptr, nullptr), 0);
        std::fflush(stdout);
        ::dup2(terminal, STDOUT_FILENO);
        ::close(terminal);
        m_reader = std::jthread([this] { Read(); });
    }
    ~Terminal()
    {
        if (m_kept >= 0)
            GiveBack();
        ::close(m_screen);
    }
    Terminal(const Terminal &) = delete;
    Terminal &operator=(const Terminal &) = delete;

    // All that was printed; nothing more is.
    std::vector<std::string> TakeLines()
    {
        GiveBack();
        std::vector<std::string> lines{""};
        for (const char byte : m_printed)
            if (byte == '\n')
                lines.emplace_back();
            else if (byte != '\r')
                lines.back() += byte;
        return lines;
    }

private:
    void Read()
    {
        char piece[4096];
        // It ends when nobody holds the terminal any more.
        for (ssize_t count = 0; (count = ::read(m_screen, piece, sizeof piece)) > 0;)
            m_printed.append(piece, std::size_t(count));
    }

    void GiveBack()
    {
        std::fflush(stdout);
        ::dup2(m_kept, STDOUT_FILENO);
        ::close(std::exchange(m_kept, -1));
        m_reader.join();
    }

    int m_kept;
    int m_screen = -1;
    std::string m_printed;
    std::jthread m_reader;
};

TEST(VisitJobs, ShowsTheNewestHundredOnATerminalAndSaysThatThereAreMore)
{
    const struct
    {
        int jobs;
        std::vector<std::string> more;
        unsigned asked;
        std::size_t lines;
    } cases[] = {
        {100, {}, 101, 102},
        {101, {}, 101, 103},
        {101, {"--limit", "0"}, 0, 103},
    };
    for (const auto &[jobs, more, asked, lines] : cases)
    {
        const TempFolder folder;
        const std::string address = "unix:" + (folder / "m.sock").Text();
        FakeMaster master(address);
        std::vector<std::string> all{"list", "--master", address, "--options",
                                     (folder / "none.ini").Text()};
        all.insert(all.end(), more.begin(), more.end());
        Terminal terminal;
        {
            std::jthread answering(
                [&, count = jobs, limit = asked]
                {
                    const corvan::wire::Envelope request = master.LastOf(2);
                    EXPECT_EQ(request.list_jobs().limit(), limit);
                    corvan::JobListMsg list;
                    for (int i = 0; i < count; ++i)
                        list.jobs.push_back(
                            SampleJob(k_ids[0], ("shot" + std::to_string(i)).c_str()));
                    Answer(master, request, list);
                });
            EXPECT_EQ(RunCorvan(all), k_Done);
        }
        const std::vector<std::string> printed = terminal.TakeLines();
        ASSERT_EQ(printed.size(), lines);
        EXPECT_NE(printed[100].find("shot99"), std::string::npos) << printed[100];
        if (lines == 103)
        {
            EXPECT_NE(printed[101].find(asked == 0 ? "shot100" : "--limit 0 shows all"),
                      std::string::npos)
                << printed[101];
        }
    }
}

} // namespace
} // namespace cli
