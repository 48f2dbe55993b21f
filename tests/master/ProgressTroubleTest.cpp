// A disk that gives nothing between the commit of a turn and what is told of it.
#include <SQLiteCpp/Database.h>
#include <boost/make_shared.hpp>

#include <gtest/gtest.h>

#include "corvan/Messages.h"
#include "corvan/Parameters.h"
#include "master/LoopClock.h"
#include "master/Master.h"
#include "master/RunLoop.h"
#include "master/store/StoreFiles.h"
#include "ostrel/Attempt.h"
#include "tests/master/FakeDoor.h"
#include "tests/master/RunningMaster.h"
#include "tests/master/TestJobs.h"
#include "tests/support/FakeRunner.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TempFolder.h"

using namespace std::chrono_literals;

namespace
{

class ProgressTroubleTest : public ::testing::Test
{
protected:
    ProgressTroubleTest()
    {
        const auto open =
            [this](const ostrel::UID &, const master::Health &, master::Door::User &user)
        {
            auto door = std::make_unique<FakeDoor>(user);
            m_door = door.get();
            return door;
        };
        m_master = std::make_unique<master::Master>(
            m_loop, m_settings,
            master::Surroundings{std::make_unique<master::LoopClock>(m_loop), m_runner, open});
    }

    // What a handler throws is the loop's, which goes on.
    template <typename Condition> bool RunUntil(Condition isReached)
    {
        const auto limit = std::chrono::steady_clock::now() + 30s;
        while (!isReached() && std::chrono::steady_clock::now() < limit)
            ostrel::Attempt([this] { m_loop.run_one_for(20ms); });
        return isReached();
    }

    void InStore(const char *sql) const
    {
        SQLite::Database(master::StoreFileIn(m_settings.data).Text(), SQLite::OPEN_READWRITE, 5000)
            .exec(sql);
    }

    // The last that the followers were told of a parameter.
    std::string LastNews(const ostrel::String &name) const
    {
        std::string value;
        for (const master::Outgoing &message : m_door->sent)
            if (const auto *news =
                    dynamic_cast<const corvan::JobParameterMsg *>(message.message.get()))
                if (news->name == name)
                    value = news->value;
        return value;
    }

    TempFolder m_folder;
    TestJobTypes m_types;
    master::MasterSettings m_settings = SettingsIn(m_folder.Folder());
    boost::asio::io_context m_loop;
    FakeRunner m_runner;
    FakeDoor *m_door = nullptr;
    std::unique_ptr<master::Master> m_master;
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
