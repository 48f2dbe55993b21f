#include "cli/VisitJobs.h"

#include <thread>

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
        const corvan::wire::Envelope request = master.Received(2 + part).back();
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
    const corvan::wire::Envelope request = master.Received(2 + parts).back();
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

} // namespace
} // namespace cli
