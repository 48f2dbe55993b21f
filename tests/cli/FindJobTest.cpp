#include "cli/FindJob.h"

#include <vector>

#include <gtest/gtest.h>

#include "tests/check/SampleJob.h"

namespace cli
{

using check::SampleJob;
namespace
{

JobPointer SampleRequeue(const char *id, const char *name, const String &origin)
{
    const JobPointer job = SampleJob(id, name);
    job->SetParameter(corvan::p_RequeueOf, "aaaa1111-0000-4000-8000-00000000000" + origin);
    return job;
}

// Which of some jobs a text picks: its name and the end of its identifier, or "".
std::string Picked(const String &text, String *reason)
{
    const std::vector<JobPointer> jobs = {
        SampleJob("aaaa1111-0000-4000-8000-000000000001", "beauty"),
        SampleJob("aaaa2222-0000-4000-8000-000000000002", "shadow"),
        SampleJob("bbbb3333-0000-4000-8000-000000000003", "shadow"),
        SampleJob("cccc4444-0000-4000-8000-000000000004", "aaaa2"),
        SampleJob("dddd5555-0000-4000-8000-000000000005", "abc"),
        SampleRequeue("eeee6666-0000-4000-8000-000000000006", "beauty", "1"),
        SampleRequeue("ffff7777-0000-4000-8000-000000000007", "gone", "9"),
        SampleRequeue("ffff8888-0000-4000-8000-000000000008", "gone too", "9"),
        SampleRequeue("ffff9999-0000-4000-8000-000000000009", "gone too", "9"),
        SampleJob("abcd0000-0000-4000-8000-000000000000", "ffff7"),
        SampleJob("abce0000-0000-4000-8000-000000000010", "ffff7"),
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
        {"beauty", "1", ""}, // And not its requeue.
        {"eeee6", "6", ""},
        {"gone", "7", ""}, // No other job has the name.
        {"gone too", "", "2 jobs fit 'gone too'; give more of an identifier"},
        {"shadow", "", "2 jobs fit 'shadow'; give more of an identifier"},
        {"Beauty", "", "no job fits 'Beauty'"},
        {"beaut", "", "no job fits 'beaut'"},
        {"aaaa2", "4", ""}, // The name goes before the beginning.
        {"AAAA2", "2", ""},
        {"aaaa22", "2", ""},
        {"ffff7", "", "2 jobs fit 'ffff7'; give more of an identifier"},
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
