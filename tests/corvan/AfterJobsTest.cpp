#include "corvan/AfterJobs.h"

#include <gtest/gtest.h>

using corvan::CheckAfterJobs;
using corvan::ReadAfterJobs;
using corvan::WriteAfterJobs;
using ostrel::String;
using ostrel::UID;

namespace
{

const String k_one = "0d5f2f62-7d6c-4c0e-a9a4-0c0f6d6b1e01";
const String k_two = "0d5f2f62-7d6c-4c0e-a9a4-0c0f6d6b1e02";

} // namespace

TEST(AfterJobs, AreReadAndWritten)
{
    const struct
    {
        String text;
        String written;
    } cases[] = {
        {"", ""},
        {k_one, k_one},
        {k_two + "," + k_one, k_two + "," + k_one},
        {" " + k_one + " , " + k_two, k_one + "," + k_two},
        {k_one + "," + k_two + "," + k_one, k_one + "," + k_two},
        {"0D5F2F62-7D6C-4C0E-A9A4-0C0F6D6B1E01", k_one},
    };
    for (const auto &[text, written] : cases)
    {
        const auto jobs = ReadAfterJobs(text);
        ASSERT_TRUE(jobs) << text;
        EXPECT_EQ(WriteAfterJobs(*jobs), written) << text;
        EXPECT_EQ(CheckAfterJobs("After", text), "") << text;
    }
}

TEST(AfterJobs, AreRefusedWhereOneIsNoIdentifier)
{
    const struct
    {
        String text;
        const char *reason;
    } cases[] = {
        {"tower", "After: \"tower\" is no identifier of a job"},
        {k_one + ",", "After: \"\" is no identifier of a job"},
        {"," + k_one, "After: \"\" is no identifier of a job"},
        {k_one + ";" + k_two,
         "After: \"0d5f2f62-7d6c-4c0e-a9a4-0c0f6d6b1e01;0d5f2f62-7d6c-4c0e-a9a4-0c0f6d6b1e02\" is "
         "no identifier of a job"},
    };
    for (const auto &[text, reason] : cases)
    {
        EXPECT_EQ(ReadAfterJobs(text), std::nullopt) << text;
        EXPECT_EQ(CheckAfterJobs("After", text), reason);
    }
}

TEST(AfterJobs, AreAThousandAtMost)
{
    std::vector<UID> jobs;
    for (int i = 0; i < 1000; ++i)
        jobs.emplace_back(true);
    EXPECT_EQ(ReadAfterJobs(WriteAfterJobs(jobs)), jobs);
    EXPECT_EQ(CheckAfterJobs("AfterGood", WriteAfterJobs(jobs)), "");
    jobs.emplace_back(true);
    EXPECT_EQ(ReadAfterJobs(WriteAfterJobs(jobs)), std::nullopt);
    EXPECT_EQ(CheckAfterJobs("AfterGood", WriteAfterJobs(jobs)),
              "AfterGood: a job waits for 1000 others at most, not for 1001");
}
