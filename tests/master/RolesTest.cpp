// Users over TLS: what each role may, and what becomes of a token that is removed.
#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include "tests/master/TcpMaster.h"
#include "tests/support/LogCapture.h"

using master::Role;
using ostrel::UID;
using namespace std::chrono_literals;

namespace
{

wire::Envelope PausedJob(const std::string &owner = {})
{
    wire::Envelope envelope;
    wire::Job &job = *envelope.mutable_job();
    job.set_id(UID(true).ToString());
    job.set_type(k_ShellType.ToString());
    for (const auto &[name, value] :
         {std::pair<std::string, std::string>{"Range", "1-2"}, {"Status", "4"}, {"Owner", owner}})
    {
        wire::Parameter &parameter = *job.add_parameters();
        parameter.set_name(name);
        parameter.set_value(value);
    }
    return envelope;
}

wire::Envelope RemoveEnvelope(const std::string &job)
{
    wire::Envelope envelope;
    envelope.mutable_remove_job()->set_job(job);
    // None of these jobs is over.
    envelope.mutable_remove_job()->set_cancel(true);
    return envelope;
}

class RolesTest : public ::testing::Test
{
protected:
    // Greeted.
    std::unique_ptr<RawClient> Enter(const std::string &token)
    {
        auto client = m_farm.Connect(token);
        EXPECT_TRUE(client->SayHello());
        return client;
    }

    // The answer in a word: "accepted", or the right that is missing, or the reason.
    static std::string Answer(RawClient &client, const wire::Envelope &request)
    {
        const auto answer = client.Ask(request);
        if (!answer)
            return "(no answer)";
        if (!answer->has_refused())
            return answer->has_accepted() ? "accepted" : "answered";
        const std::string &right = answer->refused().missing_right();
        const std::string &reason = answer->refused().reason();
        EXPECT_EQ(reason.starts_with("the right \"" + right + "\""), !right.empty()) << reason;
        return right.empty() ? reason : right;
    }

    std::vector<nlohmann::json> AuditLines()
    {
        std::vector<nlohmann::json> lines;
        const std::string text = ContentOf(m_farm.settings.data / "audit.log");
        for (std::size_t begin = 0; begin < text.size();)
        {
            const std::size_t end = text.find('\n', begin);
            EXPECT_NE(end, std::string::npos) << text;
            lines.push_back(nlohmann::json::parse(text.substr(begin, end - begin)));
            begin = end + 1;
        }
        return lines;
    }

    TcpMaster m_farm;
};

TEST_F(RolesTest, SayWhatAUserMayDo)
{
    const Role roles[] = {Role::Watch, Role::Submit, Role::EditOwn, Role::EditAll, Role::Admin};
    std::vector<std::string> tokens;
    for (const Role role : roles)
        tokens.push_back(m_farm.AddToken(master::RoleName(role), role));
    const std::string bert = m_farm.AddToken("bert", Role::Submit);
    m_farm.Start();
    const auto other = Enter(bert);
    const wire::Envelope others = PausedJob();
    ASSERT_EQ(Answer(*other, others), "accepted");

    const char *const no = "there is no such job";
    const char *const taken = "a job with this identifier exists already, and it is another one";
    const struct
    {
        const char *list, *submit, *submitOthers, *setOwn, *setOthers, *setNone, *removeOwn,
            *removeOthers;
    } expected[] = {
        {"answered", "submit", "submit", "edit-own", "edit-own", "edit-own", "edit-own",
         "edit-own"},
        {"answered", "accepted", taken, "edit-own", "edit-own", "edit-own", "edit-own", "edit-own"},
        {"answered", "accepted", taken, "accepted", "edit-all", no, "accepted", "edit-all"},
        {"answered", "accepted", taken, "accepted", "accepted", no, "accepted", "accepted"},
        {"answered", "accepted", taken, "accepted", "accepted", no, "accepted", "accepted"},
    };
    for (std::size_t i = 0; i < tokens.size(); ++i)
    {
        SCOPED_TRACE(master::RoleName(roles[i]));
        const auto client = Enter(tokens[i]);
        wire::Envelope list;
        list.mutable_list_jobs();
        EXPECT_EQ(Answer(*client, list), expected[i].list);
        EXPECT_EQ(Answer(*client, GetJobEnvelope(others.job().id())), "answered");
        EXPECT_EQ(Answer(*client, FollowEnvelope(others.job().id())), "accepted");
        const wire::Envelope own = PausedJob();
        EXPECT_EQ(Answer(*client, own), expected[i].submit);
        EXPECT_EQ(Answer(*client, own), expected[i].submit) << "sent again";
        EXPECT_EQ(Answer(*client, others), expected[i].submitOthers);
        // Who may not hand in has none of his own.
        EXPECT_EQ(Answer(*client, SetEnvelope(own.job().id(), "Note", "x")), expected[i].setOwn);
        wire::Envelope several;
        several.mutable_job_parameters()->set_job(others.job().id());
        wire::Parameter &note = *several.mutable_job_parameters()->add_parameters();
        note.set_name("Note");
        note.set_value("x");
        EXPECT_EQ(Answer(*client, several), expected[i].setOthers);
        EXPECT_EQ(Answer(*client, SetEnvelope(UID(true).ToString(), "Note", "x")),
                  expected[i].setNone);

        const wire::Envelope victim = PausedJob();
        ASSERT_EQ(Answer(*other, victim), "accepted");
        EXPECT_EQ(Answer(*client, RemoveEnvelope(own.job().id())), expected[i].removeOwn);
        EXPECT_EQ(Answer(*client, RemoveEnvelope(victim.job().id())), expected[i].removeOthers);
        EXPECT_EQ(Answer(*other, GetJobEnvelope(victim.job().id())),
                  std::string(expected[i].removeOthers) == "accepted" ? no : "answered");
    }
}

// What was sent, and by whom, is no secret to who follows the job.
TEST_F(RolesTest, AJobThatSomebodyElseSendsAgainIsNotHis)
{
    const std::string anna = m_farm.AddToken("anna", Role::EditOwn);
    const std::string bert = m_farm.AddToken("bert", Role::EditOwn);
    m_farm.Start();
    const auto one = Enter(anna), other = Enter(bert);
    const wire::Envelope job = PausedJob();
    ASSERT_EQ(Answer(*one, job), "accepted");
    EXPECT_EQ(Answer(*other, job),
              "a job with this identifier exists already, and it is another one");
    EXPECT_EQ(ParameterOf(other->Ask(GetJobEnvelope(job.job().id()))->job(), "Owner"), "anna");
    EXPECT_EQ(Answer(*other, SetEnvelope(job.job().id(), "Note", "x")), "edit-all");
    EXPECT_EQ(Answer(*one, job), "accepted") << "its owner may have missed the answer";
}

TEST_F(RolesTest, AJobIsOfTheUserWhoHandedItIn)
{
    const std::string token = m_farm.AddToken("anna", Role::Admin);
    m_farm.Start();
    const auto client = Enter(token);
    const wire::Envelope job = PausedJob("bert");
    ASSERT_EQ(Answer(*client, job), "accepted");
    EXPECT_EQ(ParameterOf(client->Ask(GetJobEnvelope(job.job().id()))->job(), "Owner"), "anna");
    EXPECT_EQ(Answer(*client, SetEnvelope(job.job().id(), "Owner", "bert")),
              "the Master alone sets it");
}

TEST_F(RolesTest, ATokenThatIsRemovedEndsItsStreamsAndDoesNothingMore)
{
    const std::string anna = m_farm.AddToken("anna", Role::EditAll);
    const std::string bert = m_farm.AddToken("bert", Role::EditAll);
    m_farm.Start();
    const auto idle = Enter(anna), busy = Enter(anna), other = Enter(bert);
    const wire::Envelope job = PausedJob();
    ASSERT_EQ(Answer(*other, job), "accepted");

    m_farm.RemoveTokensOf("anna");
    // It may be gone before it has asked; what it asks is not done.
    EXPECT_EQ(Answer(*busy, SetEnvelope(job.job().id(), "Note", "too late")), "(no answer)");
    EXPECT_EQ(busy->End().error_message(), "the token was removed");
    const grpc::Status end = idle->End();
    EXPECT_EQ(end.error_message(), "the token was removed");
    EXPECT_EQ(end.error_code(), grpc::StatusCode::UNAUTHENTICATED);
    EXPECT_EQ(ParameterOf(other->Ask(GetJobEnvelope(job.job().id()))->job(), "Note"), "(not set)");

    const auto again = m_farm.Connect(anna);
    EXPECT_FALSE(again->SayHello());
    EXPECT_EQ(again->End().error_message(), "the token is not the Master's");
}

TEST_F(RolesTest, ATokenThatIsRemovedWhileItsClientComesInLetsNobodyIn)
{
    const std::string anna = m_farm.AddToken("anna", Role::EditAll);
    m_farm.AddToken("bert", Role::EditAll);
    m_farm.Start();
    std::unique_ptr<RawClient> late;
    m_farm.Running().OnLoop(
        [&]
        {
            late = m_farm.Connect(anna);
            // What comes after it is answered already, so it was looked at.
            EXPECT_EQ(m_farm.Connect("")->End().error_code(), grpc::StatusCode::UNAUTHENTICATED);
            m_farm.RemoveTokensOf("anna");
            m_farm.Running().Get().Reload();
        });
    EXPECT_FALSE(late->SayHello());
    EXPECT_EQ(late->End().error_code(), grpc::StatusCode::UNAUTHENTICATED);
}

TEST_F(RolesTest, ATokenThatIsAddedCountsAtOnce)
{
    m_farm.AddToken("anna", Role::Watch);
    m_farm.Start();
    const std::string late = m_farm.AddToken("bert", Role::Watch);
    const auto limit = std::chrono::steady_clock::now() + 20s;
    bool isIn = false;
    while (!isIn && std::chrono::steady_clock::now() < limit)
        isIn = m_farm.Connect(late)->SayHello();
    EXPECT_TRUE(isIn);
}

TEST_F(RolesTest, TokensThatCannotBeReadChangeNothing)
{
    const std::string anna = m_farm.AddToken("anna", Role::Watch);
    m_farm.Start();
    const LogCapture log;
    const auto client = Enter(anna);
    m_farm.folder.MakeFile("tokens.json", "{");
    wire::Envelope list;
    list.mutable_list_jobs();
    EXPECT_EQ(Answer(*client, list), "answered");
    EXPECT_EQ(log.Count(ostrel::k_LogError, "the tokens from before go on"), 1);
    EXPECT_TRUE(m_farm.Connect(anna)->SayHello());
}

TEST_F(RolesTest, WhatIsChangedAndWhatIsRefusedIsRecorded)
{
    const std::string anna = m_farm.AddToken("anna", Role::Submit);
    const std::string bert = m_farm.AddToken("bert", Role::EditAll);
    m_farm.Start();
    const auto one = Enter(anna), other = Enter(bert);
    const wire::Envelope job = PausedJob();
    const std::string &id = job.job().id();
    ASSERT_EQ(Answer(*one, job), "accepted");
    // In the file before the answer.
    EXPECT_EQ(AuditLines().size(), 1u);
    ASSERT_EQ(Answer(*one, SetEnvelope(id, "Note", "x")), "edit-own");
    EXPECT_EQ(AuditLines().size(), 2u);
    ASSERT_EQ(Answer(*other, SetEnvelope(id, "Note", "x")), "accepted");
    ASSERT_EQ(Answer(*other, SetEnvelope(id, "Priority", "101")),
              "Priority: \"101\" is not a whole number from 0 to 100");
    ASSERT_EQ(Answer(*other, SetEnvelope(id, "Priority", "80")), "accepted");
    ASSERT_EQ(Answer(*other, SetEnvelope(id, "Status", "5")), "accepted");
    ASSERT_EQ(Answer(*one, RemoveEnvelope(id)), "edit-own");
    ASSERT_EQ(Answer(*other, RemoveEnvelope(id)), "accepted");

    const auto lines = AuditLines();
    ASSERT_EQ(lines.size(), 7u);
    const struct
    {
        const char *user, *what, *name, *oldValue, *newValue, *refused;
    } expected[] = {
        {"anna", "Job", "Parameters", "", nullptr, ""},
        {"anna", "JobParameter", nullptr, nullptr, nullptr,
         "the right \"edit-own\" is missing: user anna has the role \"submit\""},
        {"bert", "JobParameter", "Note", "", "x", ""},
        {"bert", "JobParameter", "Priority", "50", "80", ""},
        {"bert", "JobParameter", "Status", "4", "5", ""},
        {"anna", "RemoveJob", nullptr, nullptr, nullptr,
         "the right \"edit-own\" is missing: user anna has the role \"submit\""},
        {"bert", "RemoveJob", "Parameters", nullptr, "", ""},
    };
    for (std::size_t i = 0; i < lines.size(); ++i)
    {
        const auto &[user, what, name, oldValue, newValue, refused] = expected[i];
        SCOPED_TRACE(lines[i].dump());
        EXPECT_EQ(lines[i].value("user", ""), user);
        EXPECT_EQ(lines[i].value("peer", ""), "127.0.0.1");
        EXPECT_EQ(lines[i].value("what", ""), what);
        EXPECT_EQ(lines[i].value("job", ""), id);
        EXPECT_TRUE(lines[i].value("time", "").starts_with("20"));
        EXPECT_EQ(lines[i].value("name", ""), name ? name : "");
        // All parameters of a job are looked at below.
        const bool isAll = name && std::string(name) == "Parameters";
        if (oldValue || !isAll)
        {
            EXPECT_EQ(lines[i].value("old", ""), oldValue ? oldValue : "");
        }
        if (newValue || !isAll)
        {
            EXPECT_EQ(lines[i].value("new", ""), newValue ? newValue : "");
        }
        EXPECT_EQ(lines[i].value("refused", ""), refused);
    }
    EXPECT_NE(lines[0].value("new", "").find("Owner=anna\n"), std::string::npos);
    EXPECT_NE(lines[6].value("old", "").find("Owner=anna\nNote=x\n"), std::string::npos)
        << lines[6].value("old", "");
}

} // namespace
