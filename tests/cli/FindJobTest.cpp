#include "cli/FindJob.h"

#include <vector>

#include <gtest/gtest.h>

#include "tests/check/SampleJob.h"

namespace cli
{

using check::SampleJob;
namespace
{

// Which of three jobs a text picks: its name and the end of its identifier, or "".
std::string Picked(const String &text, String *reason)
{
    const std::vector<JobPointer> jobs = {
        SampleJob("aaaa1111-0000-4000-8000-000000000001", "beauty"),
        SampleJob("aaaa2222-0000-4000-8000-000000000002", "shadow"),
        SampleJob("bbbb3333-0000-4000-8000-000000000003", "shadow"),
        SampleJob("cccc4444-0000-4000-8000-000000000004", "aaaa2"),
        SampleJob("dddd5555-0000-4000-8000-000000000005", "abc"),
    };
    JobPick pick(text);
    for (const JobPointer &job : jobs)
        pick.Consider(job);
    const std::optional<JobPointer> job = pick.Picked(reason);
    return job ? (*job)->ID().ToString().substr(35) : "";
}

TEST(FindJob, TakesBeginningsOfIdentifiersAndNames)
{
    const struct
    {
        const char *text;
        const char *picked;
        const char *reason;
    } cases[] = {
        {"aaaa1111-0000-4000-8000-000000000001", "1", ""},
        {"aaaa1", "1", ""},
        {"AAAA1", "1", ""},
        {"bbbb", "3", ""},
        {"aaaa", "", "2 jobs fit 'aaaa'; give more of an identifier"},
        {"beauty", "1", ""},
        {"shadow", "", "2 jobs fit 'shadow'; give more of an identifier"},
        {"Beauty", "", "no job fits 'Beauty'"},
        {"beaut", "", "no job fits 'beaut'"},
        {"aaaa2", "2", ""}, // The beginning goes before the name.
        {"abc", "5", ""},
        {"bbb", "", "no job fits 'bbb'"}, // Too short for a beginning.
        {"", "", "no job fits ''"},
    };
    for (const auto &[text, picked, reason] : cases)
    {
        String given;
        EXPECT_EQ(Picked(text, &given), picked) << text;
        EXPECT_EQ(given, reason) << text;
    }
}

} // namespace
} // namespace cli
