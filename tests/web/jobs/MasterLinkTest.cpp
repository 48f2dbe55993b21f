#include "web/jobs/MasterLink.h"

#include <boost/make_shared.hpp>
#include <vector>

#include <gtest/gtest.h>

#include "corvan/Messages.h"
#include "tests/support/FakeLink.h"

using web::MasterAnswer;
using web::MasterLink;

namespace
{

class MasterLinkTest : public testing::Test, private MasterLink::User
{
protected:
    void Connect()
    {
        m_record.callbacks.welcomed({"anna", "edit-own"});
        m_record.callbacks.connected();
        Run();
    }

    void Run()
    {
        m_loop.restart();
        m_loop.poll();
    }

    void Answer(const boost::shared_ptr<corvan::Message> &message, std::uint64_t question)
    {
        message->answers = question;
        m_record.callbacks.received(message);
        Run();
    }

    void Ask()
    {
        m_link.Ask(boost::make_shared<corvan::ListJobsMsg>(),
                   [this](const MasterAnswer &answer) { m_answers.push_back(answer); });
    }

    void OnUp() override
    {
        m_told.push_back("up");
    }
    void OnDown(const ostrel::String & /*reason*/) override
    {
        m_told.push_back("down");
    }
    void OnTurnedAway(const ostrel::String &reason) override
    {
        m_told.push_back(reason);
    }
    void OnNews(const boost::shared_ptr<corvan::Message> &message) override
    {
        m_told.push_back(message->TypeName());
    }

    FakeLink::Record m_record;
    boost::asio::io_context m_loop;
    std::vector<MasterAnswer> m_answers;
    std::vector<std::string> m_told;
    MasterLink m_link{m_loop, std::make_unique<FakeLink>(m_record), *this};
};

using Kind = MasterAnswer::Kind;

} // namespace

TEST_F(MasterLinkTest, GivesEachAnswerToWhoHasAsked)
{
    Connect();
    EXPECT_EQ(m_link.Who().user, "anna");
    Ask();
    Ask();
    ASSERT_EQ(m_record.sent.size(), 2u);
    Answer(boost::make_shared<corvan::JobListMsg>(), m_record.sent[1]->serial);
    ASSERT_EQ(m_answers.size(), 1u);
    EXPECT_EQ(m_answers[0].kind, Kind::Answered);

    const auto refused = boost::make_shared<corvan::RefusedMsg>();
    refused->reason = "no";
    Answer(refused, m_record.sent[0]->serial);
    ASSERT_EQ(m_answers.size(), 2u);
    EXPECT_EQ(m_answers[1].kind, Kind::Refused);
    EXPECT_EQ(m_answers[1].reason, "no");
    EXPECT_EQ(m_told, std::vector<std::string>{"up"});

    // By its field, whatever words stand beside it.
    for (const auto &[right, kind] :
         {std::pair("", Kind::Refused), std::pair("submit", Kind::NoRight)})
    {
        Ask();
        const auto again = boost::make_shared<corvan::RefusedMsg>();
        again->reason = "the right \"submit\" is missing";
        again->missingRight = right;
        Answer(again, m_record.sent.back()->serial);
        EXPECT_EQ(m_answers.back().kind, kind) << right;
    }
}

TEST_F(MasterLinkTest, TellsThatNobodyAnswersWhereThereIsNoMaster)
{
    Ask();
    ASSERT_EQ(m_answers.size(), 1u) << "not connected yet";
    EXPECT_EQ(m_answers[0].kind, Kind::NoMaster);
    EXPECT_TRUE(m_record.sent.empty());

    Connect();
    Ask();
    m_record.callbacks.disconnected("gone");
    Run();
    ASSERT_EQ(m_answers.size(), 2u);
    EXPECT_EQ(m_answers[1].kind, Kind::NoMaster);
    EXPECT_FALSE(m_link.IsUp());
}

TEST_F(MasterLinkTest, PassesOnWhatAnswersNothing)
{
    Connect();
    const auto removed = boost::make_shared<corvan::JobRemovedMsg>();
    Answer(removed, 0);
    Answer(boost::make_shared<corvan::JobListMsg>(), 4711); // Nobody waits for it any more.
    m_record.callbacks.turnedAway("wrong token");
    Run();
    EXPECT_EQ(m_told, (std::vector<std::string>{"up", "JobRemoved", "wrong token"}));
}
