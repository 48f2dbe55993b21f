#include "master/requests/StatusRequest.h"

#include <gtest/gtest.h>

using corvan::JobStatus;
using master::DecideStatusRequest;
using master::StatusRequest;
using ostrel::String;

TEST(StatusRequest, ComesToWhatTheJobsPresentStatusAllows)
{
    using enum JobStatus;
    const struct
    {
        JobStatus present;
        JobStatus wanted;
        StatusRequest result;
    } cases[] = {
        {Queued, Queued, StatusRequest::NothingToDo},
        {Queued, Running, StatusRequest::NothingToDo},
        {Queued, Done, StatusRequest::Refuse},
        {Queued, Failed, StatusRequest::Refuse},
        {Queued, Paused, StatusRequest::Pause},
        {Queued, Cancelled, StatusRequest::Cancel},
        {Running, Queued, StatusRequest::NothingToDo},
        {Running, Running, StatusRequest::NothingToDo},
        {Running, Done, StatusRequest::Refuse},
        {Running, Paused, StatusRequest::Pause},
        {Running, Cancelled, StatusRequest::Cancel},
        {Done, Queued, StatusRequest::RunAgain},
        {Done, Running, StatusRequest::Refuse},
        {Done, Done, StatusRequest::NothingToDo},
        {Done, Failed, StatusRequest::Refuse},
        {Done, Paused, StatusRequest::Refuse},
        {Done, Cancelled, StatusRequest::Refuse},
        {Failed, Queued, StatusRequest::RunAgain},
        {Failed, Cancelled, StatusRequest::Refuse},
        {Paused, Queued, StatusRequest::Resume},
        {Paused, Running, StatusRequest::Resume},
        {Paused, Paused, StatusRequest::NothingToDo},
        {Paused, Cancelled, StatusRequest::Cancel},
        {Cancelled, Queued, StatusRequest::RunAgain},
        {Cancelled, Running, StatusRequest::Refuse},
        {Cancelled, Paused, StatusRequest::Refuse},
        {Cancelled, Cancelled, StatusRequest::NothingToDo},
    };

    for (const auto &[present, wanted, result] : cases)
    {
        String reason;
        EXPECT_EQ(DecideStatusRequest(present, wanted, &reason), result)
            << StatusName(present) << " to " << StatusName(wanted);
        EXPECT_EQ(reason.empty(), result != StatusRequest::Refuse)
            << StatusName(present) << " to " << StatusName(wanted);
    }
}
