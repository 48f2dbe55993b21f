#include "corvan/JobActions.h"

#include <string>

#include <gtest/gtest.h>

using namespace corvan;

TEST(JobActions, AreThoseThatMakeSenseInTheStatusOfTheJob)
{
    const struct
    {
        JobStatus status;
        const char *actions;
    } cases[] = {
        {JobStatus::Queued, "pause cancel priority "},
        {JobStatus::Running, "pause cancel priority "},
        {JobStatus::Paused, "resume cancel priority "},
        {JobStatus::Done, "run-again "},
        {JobStatus::Failed, "run-again "},
        {JobStatus::Cancelled, "run-again "},
    };
    for (const auto &[status, actions] : cases)
    {
        std::string told;
        for (const JobAction action : ListJobActions(status))
            told += std::string(ActionName(action)) + " ";
        EXPECT_EQ(told, actions) << StatusName(status);
    }
}

TEST(JobActions, AskForAStatusOrForAPriority)
{
    const struct
    {
        JobAction action;
        std::optional<JobStatus> status;
    } cases[] = {
        {JobAction::Pause, JobStatus::Paused},     {JobAction::Resume, JobStatus::Queued},
        {JobAction::Cancel, JobStatus::Cancelled}, {JobAction::RunAgain, JobStatus::Queued},
        {JobAction::SetPriority, std::nullopt},
    };
    for (const auto &[action, status] : cases)
        EXPECT_EQ(WantedStatus(action), status) << ActionName(action);
}
