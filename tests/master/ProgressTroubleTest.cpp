// A disk that gives nothing between the commit of a turn and what is told of it.
#include "corvan/Parameters.h"
#include "tests/master/MasterOnFakes.h"
#include "tests/support/LogCapture.h"

namespace
{

class ProgressTroubleTest : public MasterOnFakes
{
};

TEST_F(ProgressTroubleTest, EndsTheTurnAllTheSameAndIsToldLater)
{
    auto message = boost::make_shared<corvan::JobMsg>();
    message->job = MakeTestJob({{"Range", "1-3"}});
    m_door->Ask(message);
    ASSERT_TRUE(RunUntil([this] { return m_runner.started.size() == 1; }));
    m_runner.TellStarts();
    ASSERT_TRUE(RunUntil([this] { return LastNews("Status") == "1"; }));
    ASSERT_TRUE(RunUntil([this] { return m_door->ended == m_door->taken; }));

    const LogCapture log;
    auto change = boost::make_shared<corvan::JobParameterMsg>();
    change->job = message->job->ID();
    change->name = corvan::p_Note;
    change->value = "seen";
    m_door->Ask(change);
    m_runner.Finish(1, {});
    m_door->onSend = [this]
    {
        m_door->onSend = {};
        InStore("ALTER TABLE jobs RENAME TO away");
    };
    ASSERT_TRUE(RunUntil([&] { return log.Count(ostrel::k_LogError, "no such table: jobs") > 0; }));
    EXPECT_TRUE(RunUntil([this] { return m_door->ended == m_door->taken; }))
        << "what those clients ask next is never taken";
    EXPECT_EQ(LastNews("TasksDone"), "");

    InStore("ALTER TABLE away RENAME TO jobs");
    EXPECT_TRUE(RunUntil([this] { return LastNews("TasksDone") == "1"; }));
    EXPECT_TRUE(RunUntil([this] { return m_runner.started.size() == 2; }));
}

} // namespace
