#include "corvan/JobStatus.h"

#include <gtest/gtest.h>

using namespace corvan;

TEST(JobStatus, HasANumberANameAndAnEnd)
{
    const struct
    {
        const char *text;
        JobStatus status;
        const char *name;
        bool isOver;
    } cases[] = {
        {"0", JobStatus::Queued, "Queued", false}, {"1", JobStatus::Running, "Running", false},
        {"2", JobStatus::Done, "Done", true},      {"3", JobStatus::Failed, "Failed", true},
        {"4", JobStatus::Paused, "Paused", false}, {"5", JobStatus::Cancelled, "Cancelled", true},
    };
    for (const auto &[text, status, name, isOver] : cases)
    {
        EXPECT_EQ(ParseStatus(text), status);
        EXPECT_STREQ(StatusName(status), name);
        EXPECT_EQ(IsOver(status), isOver) << name;
    }
}

TEST(JobStatus, IsNothingElse)
{
    for (const char *text : {"", "6", "-1", "10", "00", " 1", "1 ", "Done", "/", ":"})
        EXPECT_FALSE(ParseStatus(text)) << text;
}
