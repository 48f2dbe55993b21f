#include "master/requests/Rights.h"

#include <map>

#include <gtest/gtest.h>

#include "corvan/MessageFactory.h"
#include "corvan/Messages.h"
#include "corvan/messages.pb.h"

using corvan::Direction;
using master::Identity;
using master::Right;
using master::Role;
using ostrel::UID;

namespace
{

const UID k_job("f81d4fae-7dec-41d0-a765-00a0c91e6bf6", true);

TEST(Rights, FollowFromTheRole)
{
    const struct
    {
        Right right;
        const char *owner;
        const char
            *missing[5]; // Of watch, submit, edit-own, edit-all, admin; empty where it is had.
    } cases[] = {
        {Right::Watch, "", {"", "", "", "", ""}},
        {Right::Submit, "", {"submit", "", "", "", ""}},
        {Right::Edit, "anna", {"edit-own", "edit-own", "", "", ""}},
        {Right::Edit, "bert", {"edit-own", "edit-own", "edit-all", "", ""}},
        {Right::Edit, "", {"edit-own", "edit-own", "edit-all", "", ""}},
        {Right::Administer, "", {"admin", "admin", "admin", "admin", ""}},
    };
    for (const auto &[right, owner, missing] : cases)
        for (int role = 0; role < 5; ++role)
        {
            const Identity who{
                .user = "anna", .role = Role(role), .peer = {}, .token = {}, .peerKey = {}};
            const auto lacking = master::FindMissingRight(who, right, owner);
            const std::string told = lacking ? lacking->sentence : "";
            const std::string name = missing[role];
            EXPECT_EQ(lacking ? lacking->name : "", name) << told;
            EXPECT_EQ(told.find("the right \"" + name + "\" is missing: user anna has the role \"" +
                                master::RoleName(Role(role)) + "\""),
                      name.empty() ? std::string::npos : 0u)
                << told;
        }
}

TEST(Rights, SayWhoseTheJobIs)
{
    const Identity who{
        .user = "anna", .role = Role::EditOwn, .peer = {}, .token = {}, .peerKey = {}};
    EXPECT_TRUE(master::FindMissingRight(who, Right::Edit, "bert")
                    ->sentence.ends_with(", and the job is of user bert"));
    EXPECT_TRUE(master::FindMissingRight(who, Right::Edit, "")
                    ->sentence.ends_with(", and the job is nobody's"));
}

// A message that is added without a row in the table would be nobody's, and one without a row here
// is noticed.
TEST(Rights, AreSaidForEachMessageThatAClientMaySend)
{
    const std::map<std::string, Right> expected = {
        {"FollowJob", Right::Watch},   {"GetJobInfo", Right::Watch},   {"ListJobs", Right::Watch},
        {"GetTasks", Right::Watch},    {"GetTaskLog", Right::Watch},   {"Job", Right::Submit},
        {"JobParameter", Right::Edit}, {"JobParameters", Right::Edit}, {"RemoveJob", Right::Edit},
        {"ListNodes", Right::Watch},   {"SetNode", Right::Administer},
    };
    std::size_t count = 0;
    for (const ostrel::UID &type : corvan::MessageFactory::Types())
    {
        const auto message = corvan::MessageFactory::CreateMessage(type);
        SCOPED_TRACE(message->TypeName());
        const auto need = master::FindNeed(*message);
        const auto row = expected.find(message->TypeName());
        if (message->Goes() == Direction::FromMaster)
        {
            EXPECT_FALSE(need);
            continue;
        }
        ++count;
        ASSERT_TRUE(need);
        ASSERT_NE(row, expected.end());
        EXPECT_EQ(need->right, row->second);
    }
    EXPECT_EQ(count, expected.size());
    // Beside them there are the two greetings, which no envelope hands on.
    const auto *bodies = corvan::wire::Envelope::descriptor()->FindOneofByName("body");
    ASSERT_TRUE(bodies);
    EXPECT_EQ(std::size_t(bodies->field_count()), corvan::MessageFactory::Types().size() + 2);
}

template <typename Concrete> UID JobThatIsEdited()
{
    Concrete message;
    message.job = k_job;
    const auto need = master::FindNeed(message);
    return need ? need->job : UID();
}

TEST(Rights, OfAnEditAreThoseToTheJobThatTheMessageNames)
{
    EXPECT_EQ(JobThatIsEdited<corvan::JobParameterMsg>(), k_job);
    EXPECT_EQ(JobThatIsEdited<corvan::JobParametersMsg>(), k_job);
    EXPECT_EQ(JobThatIsEdited<corvan::RemoveJobMsg>(), k_job);
}

} // namespace
