// What a Master that runs real commands sees coming.
#include <SQLiteCpp/Database.h>
#include <filesystem>

#include <gtest/gtest.h>

#include "master/store/StoreFiles.h"
#include "tests/master/RawClient.h"
#include "tests/master/RunningMaster.h"
#include "tests/master/TestJobs.h"
#include "tests/support/TempFolder.h"

using namespace std::chrono_literals;

namespace
{

class SeenComingTest : public ::testing::Test
{
protected:
    SeenComingTest()
    {
        m_settings.foresight = {20ms, 20ms, 20ms};
    }

    // With a client who follows it.
    wire::Job Submit(RawClient &client, const TestParameters &parameters)
    {
        wire::Envelope envelope;
        wire::Job &job = *envelope.mutable_job();
        job.set_id(ostrel::UID(true).ToString());
        job.set_type(k_ShellType.ToString());
        for (const auto &[name, value] : parameters)
        {
            wire::Parameter &parameter = *job.add_parameters();
            parameter.set_name(name);
            parameter.set_value(value);
        }
        EXPECT_TRUE(client.Ask(FollowEnvelope(job.id()))->has_accepted());
        EXPECT_TRUE(client.Ask(envelope)->has_accepted());
        return job;
    }

    // The first value of a parameter that followers are told, and that is not empty.
    static std::string Told(RawClient &client, const std::string &name)
    {
        const auto news = client.ReceiveUntil(
            [&](const wire::Envelope &one)
            { return one.job_parameter().name() == name && !one.job_parameter().value().empty(); });
        return news ? news->job_parameter().value() : "(nothing)";
    }

    void InStore(const char *sql) const
    {
        SQLite::Database(master::StoreFileIn(m_settings.data).Text(), SQLite::OPEN_READWRITE, 5000)
            .exec(sql);
    }

    TempFolder m_folder;
    TestJobTypes m_types;
    master::MasterSettings m_settings = SettingsIn(m_folder.Folder());
};

TEST_F(SeenComingTest, IsToldToFollowersAndToWhoeverAsks)
{
    RunningMaster running(m_settings, 2);
    RawClient client(running.Address());
    ASSERT_TRUE(client.SayHello());
    const std::string go = (m_folder / "go").Text();
    const wire::Job job = Submit(
        client, {{"Range", "1-40"},
                 {"Script", "[ $1 -lt 20 ] || until [ -e '" + go + "' ]; do sleep 0.02; done"}});
    EXPECT_NE(Told(client, "FrameSeconds"), "(nothing)");
    EXPECT_TRUE(Told(client, "ExpectedEnd").ends_with("Z"));
    const wire::Job shown = client.Ask(GetJobEnvelope(job.id()))->job();
    for (const char *name : {"FrameSeconds", "FrameSecondsSlowest", "FramesPerHour", "ExpectedEnd"})
        EXPECT_NE(ParameterOf(shown, name), "(not set)") << name;
    EXPECT_EQ(ParameterOf(shown, "StuckTasks"), "(not set)");

    m_folder.MakeFile("go");
    ASSERT_TRUE(client.ReceiveUntil(IsNews("Status", "2")));
    const wire::Job over = client.Ask(GetJobEnvelope(job.id()))->job();
    EXPECT_NE(ParameterOf(over, "FrameSeconds"), "(not set)");
    EXPECT_EQ(ParameterOf(over, "ExpectedEnd"), "(not set)");
    EXPECT_EQ(ParameterOf(over, "FramesPerHour"), "(not set)");
    const auto refused = client.Ask(SetEnvelope(job.id(), "ExpectedEnd", "tomorrow"));
    EXPECT_EQ(refused->refused().reason(), "the Master alone sets it");
}

TEST_F(SeenComingTest, ATaskThatIsSilentIsMarkedAndGoesOn)
{
    TestJobTypes::IsStuckBy({.silentSeconds = 1});
    RunningMaster running(m_settings, 2);
    RawClient client(running.Address());
    ASSERT_TRUE(client.SayHello());
    const std::string go = (m_folder / "go").Text();
    const wire::Job job = Submit(client, {{"Range", "1-2"},
                                          {"Script", "[ $1 = 1 ] || echo begun; until [ -e '" + go +
                                                         "' ]; do sleep 0.02; done"}});
    EXPECT_EQ(Told(client, "StuckTasks"), "1");
    const wire::TaskList tasks = client.Ask(GetTasksEnvelope(job.id()))->task_list();
    EXPECT_EQ(tasks.tasks(0).stuck(), "");
    EXPECT_TRUE(tasks.tasks(1).stuck().starts_with("it has printed nothing for 0:0"))
        << tasks.tasks(1).stuck();
    EXPECT_EQ(tasks.tasks(1).status(), 1);
    m_folder.MakeFile("go");
    ASSERT_TRUE(client.ReceiveUntil(IsNews("Status", "2")));
    EXPECT_EQ(client.Ask(GetTasksEnvelope(job.id()))->task_list().tasks(1).tries(), 1u);
}

TEST_F(SeenComingTest, ATaskThatIsStuckIsANoticeAsSoonAsTheDiskTakesIt)
{
    TestJobTypes::IsStuckBy({.silentSeconds = 1});
    const std::string told = (m_folder / "told").Text();
    m_settings.notices.command = {"/bin/sh", "-c",      "echo \"$1: $2\" >> '" + told + "'",
                                  "tell",    "{Event}", "{Reason}"};
    m_settings.notices.events = {master::NoticeEvent::Stuck};
    RunningMaster running(m_settings, 2);
    RawClient client(running.Address());
    ASSERT_TRUE(client.SayHello());
    InStore("CREATE TRIGGER full BEFORE INSERT ON notices BEGIN"
            " SELECT RAISE(ABORT, 'no room'); END");
    const std::string go = (m_folder / "go").Text();
    const wire::Job job =
        Submit(client, {{"Range", "1"},
                        {"Script", "echo begun; until [ -e '" + go + "' ]; do sleep 0.02; done"}});
    EXPECT_EQ(Told(client, "StuckTasks"), "0");
    // It is found once, and that was it.
    client.Ask(GetJobEnvelope(job.id()));
    InStore("DROP TRIGGER full");

    const auto limit = std::chrono::steady_clock::now() + 30s;
    const auto isTold = [&]
    { return std::filesystem::exists(told) && ContentOf(told).ends_with('\n'); };
    while (!isTold() && std::chrono::steady_clock::now() < limit)
        client.Ask(GetJobEnvelope(job.id()));
    m_folder.MakeFile("go");
    EXPECT_TRUE(ContentOf(told).starts_with("stuck: task 0, it has printed nothing for 0:0"))
        << ContentOf(told);
}

TEST_F(SeenComingTest, ATaskThatIsStuckIsEndedWhereItsTypeWantsThat)
{
    TestJobTypes::IsStuckBy({.slowSeconds = 1, .ends = true});
    RunningMaster running(m_settings, 2);
    RawClient client(running.Address());
    ASSERT_TRUE(client.SayHello());
    const wire::Job job =
        Submit(client, {{"Range", "1-7"}, {"Script", "[ $1 != 7 ] || exec sleep 100"}});
    ASSERT_TRUE(client.ReceiveUntil(IsNews("Status", "3")));
    const wire::Task task = client.Ask(GetTasksEnvelope(job.id()))->task_list().tasks(6);
    EXPECT_EQ(task.status(), 3);
    EXPECT_EQ(task.tries(), 3u);
    EXPECT_EQ(task.exit_code(), -1);
    // Longer than a second where its fellows took longer, too.
    EXPECT_TRUE(task.reason().starts_with("it was ended since it runs for 0:0"))
        << task.reason();
}

} // namespace
