// An audit log that cannot be written.
#include <fstream>
#include <nlohmann/json.hpp>

#include "corvan/Parameters.h"
#include "tests/master/MasterOnFakes.h"
#include "tests/support/FakeLooker.h"
#include "tests/support/FakeTools.h"

namespace
{

const char *const k_trouble =
    "the audit log does not get to disk, and nothing is changed before it does";

class AuditTroubleTest : public MasterOnFakes
{
protected:
    void SetNote(const ostrel::UID &job, const std::string &value)
    {
        auto change = boost::make_shared<corvan::JobParameterMsg>();
        change->job = job;
        change->name = corvan::p_Note;
        change->value = value;
        m_door->Ask(change);
    }

    // Of the request that was just asked; empty where it was accepted.
    std::string LastRefusal()
    {
        const std::size_t before = m_door->sent.size();
        RunUntil([&] { return m_door->ended == m_door->taken && m_door->sent.size() > before; });
        for (std::size_t i = before; i < m_door->sent.size(); ++i)
        {
            if (m_door->sent[i].answers == 0)
                continue;
            const auto *refused =
                dynamic_cast<const corvan::RefusedMsg *>(m_door->sent[i].message.get());
            return refused ? std::string(refused->reason) : "";
        }
        return "(no answer)";
    }

    // What was accepted of notes, by the log.
    std::vector<std::string> NotesInLog() const
    {
        std::vector<std::string> notes;
        std::ifstream file((m_settings.data / "audit.log").Text());
        for (std::string line; std::getline(file, line);)
            if (const auto read = nlohmann::json::parse(line); read.at("what") == "JobParameter")
                notes.push_back(read.at("new"));
        return notes;
    }

    using Notes = std::vector<std::string>;
};

TEST_F(AuditTroubleTest, LosesNoLineAndLetsNothingElseBeChangedAndRunsGoOn)
{
    auto message = boost::make_shared<corvan::JobMsg>();
    message->job = MakeTestJob({{"Range", "1-3"}});
    m_door->Ask(message);
    const ostrel::UID job = message->job->ID();
    ASSERT_TRUE(RunUntil([this] { return m_runner.started.size() == 1; }));

    m_audit.isFull = true;
    SetNote(job, "kept by the store");
    EXPECT_EQ(LastRefusal(), "") << "it was committed with its line";
    EXPECT_EQ(NotesInLog(), Notes{});
    const std::string reason = "cannot write audit log " + (m_settings.data / "audit.log").Text() +
                               ": No space left on device";
    SetNote(job, "refused");
    m_runner.Finish(1, {});
    EXPECT_EQ(LastRefusal(), reason);
    EXPECT_EQ(LastNews("Note"), "kept by the store");
    EXPECT_EQ(m_runner.started.size(), 2u) << "what the refused change came along with counts";

    // The next Master has them from the store, and cannot write them either.
    m_master.reset();
    m_runner = {};
    Start();
    ASSERT_TRUE(RunUntil([this] { return m_runner.started.size() == 1; }));
    EXPECT_EQ(NotesInLog(), Notes{});
    SetNote(job, "refused again");
    EXPECT_EQ(LastRefusal(), reason);

    EXPECT_EQ(m_health->Trouble(), k_trouble);

    m_audit.isFull = false;
    EXPECT_TRUE(RunUntil([this] { return NotesInLog() == Notes{"kept by the store"}; }))
        << "nobody has to ask for it";
    EXPECT_TRUE(RunUntil([this] { return m_health->Trouble().empty(); }));
    SetNote(job, "written");
    EXPECT_EQ(LastRefusal(), "");
    EXPECT_EQ(NotesInLog(), (Notes{"kept by the store", "written"}));
}

// What runs have done is kept by itself where the change beside it is refused, with all that comes
// of it.
TEST_F(AuditTroubleTest, KeepsNoNoticeAndNoLookAtFramesFromWhatWasRenderedMeanwhile)
{
    FakeTools *tools = nullptr;
    FakeLooker *looker = nullptr;
    m_master.reset();
    m_settings.notices.command = {"/bin/tell", "{Event}"};
    m_settings.notices.events = {master::NoticeEvent::Done};
    m_complete = [&](master::Surroundings &surroundings)
    {
        surroundings.tools = std::make_unique<FakeTools>();
        tools = static_cast<FakeTools *>(surroundings.tools.get());
        surroundings.looker = std::make_unique<FakeLooker>();
        looker = static_cast<FakeLooker *>(surroundings.looker.get());
    };
    Start();
    auto message = boost::make_shared<corvan::JobMsg>();
    message->job = MakeTestJob({{"Range", "1"}, {"CheckFrames", "sizes"}, {"QuietSeconds", "0"}});
    m_door->Ask(message);
    ASSERT_TRUE(RunUntil([this] { return m_runner.started.size() == 1; }));

    m_audit.isFull = true;
    SetNote(message->job->ID(), "kept by the store");
    ASSERT_EQ(LastRefusal(), "");
    SetNote(message->job->ID(), "refused");
    m_runner.Finish(1, {});
    ASSERT_NE(LastRefusal(), "");
    ASSERT_EQ(LastNews("Status"), "2");
    EXPECT_TRUE(RunUntil([&] { return tools->asked.size() == 1; }));
    EXPECT_TRUE(RunUntil([&] { return looker->started.size() == 1; }));
}

TEST_F(AuditTroubleTest, IsToldAndGoneOnceItIsOnDiskAlsoWhereNobodyAsksForAnything)
{
    auto message = boost::make_shared<corvan::JobMsg>();
    message->job = MakeTestJob({{"Range", "1-3"}});
    m_audit.isFailing = true;
    m_door->Ask(message);
    EXPECT_EQ(LastRefusal(), "") << "it was committed with its line";
    EXPECT_TRUE(RunUntil([this] { return m_health->Trouble() == k_trouble; }));
    SetNote(message->job->ID(), "refused");
    EXPECT_EQ(LastRefusal(), "cannot write audit log " + (m_settings.data / "audit.log").Text() +
                                 ": Input/output error");

    m_audit.isFailing = false;
    EXPECT_TRUE(RunUntil([this] { return m_health->Trouble().empty(); }));
    SetNote(message->job->ID(), "written");
    EXPECT_EQ(LastRefusal(), "");
    EXPECT_EQ(NotesInLog(), Notes{"written"});
}

TEST_F(AuditTroubleTest, HasNoLineOfWhatIsNotCommitted)
{
    auto message = boost::make_shared<corvan::JobMsg>();
    message->job = MakeTestJob({{"Range", "1-3"}});
    m_door->Ask(message);
    ASSERT_TRUE(RunUntil([this] { return m_runner.started.size() == 1; }));

    InStore("CREATE TRIGGER full BEFORE INSERT ON audit BEGIN SELECT RAISE(ABORT, 'no'); END");
    SetNote(message->job->ID(), "refused");
    EXPECT_NE(LastRefusal(), "");
    EXPECT_EQ(NotesInLog(), Notes{});
    InStore("DROP TRIGGER full");
    SetNote(message->job->ID(), "written");
    EXPECT_EQ(LastRefusal(), "");
    EXPECT_EQ(NotesInLog(), Notes{"written"});
}

TEST_F(AuditTroubleTest, IsInTheStoreNoLongerThanItHasToBe)
{
    auto message = boost::make_shared<corvan::JobMsg>();
    message->job = MakeTestJob({{"Range", "1-3"}});
    m_door->Ask(message);
    ASSERT_TRUE(RunUntil([this] { return m_runner.started.size() == 1; }));

    const auto linesInStore = [this]
    {
        SQLite::Database store(master::StoreFileIn(m_settings.data).Text(), SQLite::OPEN_READWRITE,
                               5000);
        return store.execAndGet("SELECT count(*) FROM audit").getInt();
    };
    EXPECT_EQ(linesInStore(), 1);
    std::size_t changes = 0;
    // The thread that syncs may still have to say so when the next change comes.
    for (int before = 0; changes == 0 || (linesInStore() > 1 && changes < 20);
         before = m_audit.syncs)
    {
        ASSERT_TRUE(RunUntil([&] { return m_audit.syncs > before; }));
        SetNote(message->job->ID(), "change " + std::to_string(++changes));
        ASSERT_EQ(LastRefusal(), "");
    }
    EXPECT_EQ(linesInStore(), 1) << "of the change alone that was the last";
    EXPECT_EQ(NotesInLog().size(), changes);
}

} // namespace
