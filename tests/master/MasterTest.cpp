#include "master/Master.h"

#include <SQLiteCpp/Database.h>
#include <atomic>
#include <boost/make_shared.hpp>
#include <filesystem>
#include <future>
#include <sys/resource.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "corvan/ClientKind.h"
#include "corvan/GrpcLink.h"
#include "corvan/Limits.h"
#include "corvan/Messages.h"
#include "corvan/Protocol.h"
#include "tests/master/RawClient.h"
#include "tests/master/RunningMaster.h"
#include "tests/master/TestCertificate.h"
#include "tests/master/TestJobs.h"
#include "tests/support/LogCapture.h"
#include "tests/support/MemoryLimit.h"
#include "tests/support/Printing.h"
#include "tests/support/TempFolder.h"

using master::MasterSettings;
using ostrel::UID;
using namespace std::chrono_literals;

namespace
{

class MasterTest : public ::testing::Test
{
protected:
    void Start(int slots = 2)
    {
        m_master.reset();
        m_master = std::make_unique<RunningMaster>(m_settings, slots);
        ASSERT_EQ(m_master->Error(), "");
    }

    std::unique_ptr<RawClient> Connect()
    {
        auto client = std::make_unique<RawClient>(m_master->Address());
        EXPECT_TRUE(client->SayHello());
        return client;
    }

    static wire::Envelope JobEnvelope(const TestParameters &parameters)
    {
        wire::Envelope envelope;
        wire::Job &job = *envelope.mutable_job();
        job.set_id(UID(true).ToString());
        job.set_type(k_ShellType.ToString());
        for (const auto &[name, value] : parameters)
        {
            wire::Parameter &parameter = *job.add_parameters();
            parameter.set_name(name);
            parameter.set_value(value);
        }
        return envelope;
    }

    // Submits a job that this client follows, and gives its identifier.
    static std::string Submit(RawClient &client, const TestParameters &parameters)
    {
        const wire::Envelope job = JobEnvelope(parameters);
        EXPECT_TRUE(client.Ask(FollowEnvelope(job.job().id()))->has_accepted());
        const auto answer = client.Ask(job);
        EXPECT_TRUE(answer && answer->has_accepted()) << (answer ? answer->ShortDebugString() : "");
        return job.job().id();
    }

    // A script that goes on until a file of this name is in the test's folder.
    std::string WaitsFor(const ostrel::String &leaf) const
    {
        return "while [ ! -e '" + (m_folder / leaf).Text() + "' ]; do sleep 0.01; done";
    }

    static std::string Status(RawClient &client, const std::string &job)
    {
        const auto answer = client.Ask(GetJobEnvelope(job));
        return answer && answer->has_job() ? ParameterOf(answer->job(), "Status") : "(no job)";
    }

    TempFolder m_folder;
    TestJobTypes m_types;
    MasterSettings m_settings = SettingsIn(m_folder.Folder());
    std::unique_ptr<RunningMaster> m_master;
};

TEST_F(MasterTest, RunsAJobAndTellsItsFollowers)
{
    Start();
    const auto client = Connect();
    const std::string job =
        Submit(*client, {{"Range", "1-5"},
                         {"PacketSize", "2"},
                         {"ImageFormat", (m_folder / "out/x.%04d.txt").Text()},
                         {"Script", "echo \"frames $1 to $2\"; cd \"${3%/*}\"; for n in $(seq -f "
                                    "%04g $1 $2); do echo done > x.$n.txt; done"}});

    ASSERT_TRUE(client->ReceiveUntil(IsNews("Status", "1")));
    ASSERT_TRUE(client->ReceiveUntil(IsNews("TasksDone", "3")));
    ASSERT_TRUE(client->ReceiveUntil(IsNews("Status", "2")));
    for (const char *file :
         {"out/x.0001.txt", "out/x.0002.txt", "out/x.0003.txt", "out/x.0004.txt", "out/x.0005.txt"})
        EXPECT_EQ(ContentOf(m_folder / file), "done\n");

    wire::Envelope ask;
    ask.mutable_get_task_log()->set_job(job);
    ask.mutable_get_task_log()->set_task(1);
    EXPECT_EQ(client->Ask(ask)->task_log().text(), "frames 3 to 4\n");
}

// As on a disk without room: the program ends well and has written nothing.
TEST_F(MasterTest, FailsATaskWhoseCommandLeavesAnEmptyFileAndKeepsTheOldOne)
{
    Start();
    const auto client = Connect();
    m_folder.MakeFile("out/x.1.png", "whole");
    const std::string file = (m_folder / "out/x.1.png").Text();
    const std::string job = Submit(*client, {{"Range", "1"},
                                             {"ImageFormat", (m_folder / "out/x.%d.png").Text()},
                                             {"Script", ": > \"$3\""}});
    ASSERT_TRUE(client->ReceiveUntil(IsNews("Status", "3")));
    const auto task = client->Ask(GetTasksEnvelope(job))->task_list().tasks(0);
    EXPECT_EQ(task.exit_code(), 0);
    EXPECT_EQ(task.reason(), "it left " + file + " empty");
    EXPECT_EQ(ContentOf(m_folder / "out/x.1.png"), "whole");
}

TEST_F(MasterTest, RefusesFramesElsewhereAndPausesAJobThatALinkLeadsThere)
{
    const std::string in = m_folder.MakeFolder("in").Text(),
                      out = m_folder.MakeFolder("out").Text();
    TestJobTypes::RendersInto(in);
    Start();
    const auto client = Connect();
    const auto refused = client->Ask(
        JobEnvelope({{"Range", "1-3"}, {"Script", ""}, {"ImageFormat", out + "/x.%d.png"}}));
    EXPECT_EQ(refused->refused().reason(), "ImageFormat " + out +
                                               "/x.%d.png lies elsewhere, and "
                                               "jobs of this type may use only " +
                                               in);

    std::filesystem::create_symlink(out, in + "/away");
    const std::string job = Submit(*client, {{"Range", "1-3"},
                                             {"ImageFormat", in + "/away/x.%d.png"},
                                             {"Script", "echo frame > \"$3\""}});
    ASSERT_TRUE(client->ReceiveUntil(IsNews("Status", "4")));
    const auto paused = client->Ask(GetJobEnvelope(job));
    // Two frames were begun; either may have told first.
    const std::string waiting = ParameterOf(paused->job(), "Waiting");
    EXPECT_TRUE(waiting.starts_with("ImageFormat " + in + "/away/x.")) << waiting;
    EXPECT_NE(waiting.find(" leads to " + out + "/x."), std::string::npos) << waiting;
    EXPECT_EQ(ParameterOf(paused->job(), "TasksFailed"), "0");
    EXPECT_TRUE(std::filesystem::is_empty(out));

    // The other one may still have to tell of the link.
    std::filesystem::remove(in + "/away");
    ASSERT_TRUE(client->Ask(SetEnvelope(job, "Status", "0"))->has_accepted());
    ASSERT_TRUE(client->ReceiveUntil(IsNews("Status", "2")));
    EXPECT_EQ(ContentOf(in + "/away/x.3.png"), "frame\n");
}

TEST_F(MasterTest, EndsTheDetachedProcessesOfACancelledJob)
{
    Start();
    const auto client = Connect();
    const std::string job =
        Submit(*client, {{"Range", "1"},
                         {"Script", "setsid sh -c 'echo $$ > \"" + (m_folder / "new").Text() +
                                        "\"; mv \"" + (m_folder / "new").Text() + "\" \"" +
                                        (m_folder / "pid").Text() + "\"; exec sleep 100' & wait"}});
    while (!std::filesystem::exists((m_folder / "pid").Text().c_str()))
        ASSERT_NE(Status(*client, job), "3");
    EXPECT_TRUE(client->Ask(SetEnvelope(job, "Status", "5"))->has_accepted());
    const std::string process = ContentOf(m_folder / "pid");
    const std::string entry = "/proc/" + process.substr(0, process.size() - 1);
    // Two slots, of which one is the job's until all of it has gone.
    Submit(*client, {{"Range", "1-2"}, {"Script", WaitsFor("go")}});
    ASSERT_TRUE(client->ReceiveUntil(IsNews("Status", "1")));
    m_folder.MakeFile("go");
    ASSERT_TRUE(client->ReceiveUntil(IsNews("Status", "2")));
    m_master->Stop();
    EXPECT_FALSE(std::filesystem::exists(entry)) << entry;
}

TEST_F(MasterTest, RemovesAJobThatRunsOnceItsCommandHasEnded)
{
    Start();
    const auto client = Connect(), watcher = Connect();
    const std::string job =
        Submit(*client, {{"Range", "1"}, {"Script", "echo there > file; " + WaitsFor("go")}});
    ASSERT_TRUE(watcher->Ask(FollowEnvelope(job))->has_accepted());
    ASSERT_TRUE(client->ReceiveUntil(IsNews("Status", "1")));

    wire::Envelope remove;
    remove.mutable_remove_job()->set_job(job);
    EXPECT_TRUE(client->Ask(remove)->has_refused());
    remove.mutable_remove_job()->set_cancel(true);
    EXPECT_TRUE(client->Ask(remove)->has_accepted());
    const auto isRemoval = [&](const wire::Envelope &news)
    { return news.has_job_removed() && news.job_removed().job() == job; };
    EXPECT_TRUE(client->ReceiveUntil(isRemoval));
    EXPECT_TRUE(watcher->ReceiveUntil(isRemoval));
    EXPECT_EQ(Status(*client, job), "(no job)");

    const auto folder = (m_settings.data / "tasks" / job).Text();
    const auto end = std::chrono::steady_clock::now() + 30s;
    while (std::filesystem::exists(folder.c_str()) && std::chrono::steady_clock::now() < end)
        EXPECT_TRUE(client->Ask(GetJobEnvelope(job))->has_refused());
    EXPECT_FALSE(std::filesystem::exists(folder.c_str()));
}

TEST_F(MasterTest, TellsEveryFollowerTheSenderIncluded)
{
    Start();
    const auto one = Connect(), other = Connect(), stranger = Connect();
    const std::string job = Submit(*one, {{"Range", "1"}, {"Status", "4"}});
    ASSERT_TRUE(other->Ask(FollowEnvelope(job))->has_accepted());

    EXPECT_EQ(other->Ask(SetEnvelope(job, "CustomRange", "7"))->accepted().job(), job);

    EXPECT_TRUE(one->ReceiveUntil(IsNews("CustomRange", "7")));
    EXPECT_TRUE(other->ReceiveUntil(IsNews("CustomRange", "7")));
    // An answer is all that the stranger gets.
    EXPECT_TRUE(stranger->Ask(GetJobEnvelope(job))->has_job());
}

TEST_F(MasterTest, RefusesWithTheReasonAndGoesOn)
{
    Start();
    const auto client = Connect();
    const auto unknownType = JobEnvelope({{"Range", "1"}});
    wire::Envelope nothing;
    wire::Envelope badType = unknownType;
    badType.mutable_job()->set_type(UID(true).ToString());
    const struct
    {
        wire::Envelope request;
        const char *what;
    } cases[] = {
        {nothing, "message"},
        {HelloEnvelope(), "Hello"},
        {badType, "Job"},
        {JobEnvelope({{"Range", "x"}}), "Job"},
        {JobEnvelope({{"Range", "1"}, {"PacketSize", "0"}}), "Job"},
        {FollowEnvelope("no identifier"), "FollowJob"},
        {SetEnvelope(UID(true).ToString(), "", "x"), "JobParameter"},
        {GetTasksEnvelope(UID(true).ToString()), "GetTasks "},
    };
    for (const auto &[request, what] : cases)
    {
        const auto answer = client->Ask(request);
        ASSERT_TRUE(answer) << request.ShortDebugString();
        ASSERT_TRUE(answer->has_refused()) << request.ShortDebugString();
        EXPECT_TRUE(answer->refused().what().starts_with(what)) << answer->ShortDebugString();
        EXPECT_NE(answer->refused().reason(), "") << request.ShortDebugString();
    }
}

TEST_F(MasterTest, WantsHelloFirst)
{
    Start();
    RawClient client(m_master->Address());
    client.Send(GetJobEnvelope(UID(true).ToString()));
    EXPECT_EQ(client.End().error_message(), "the first message has to be Hello");

    RawClient nameless(m_master->Address());
    wire::Envelope hello = HelloEnvelope();
    hello.mutable_hello()->set_client("nobody");
    nameless.Send(hello);
    EXPECT_EQ(nameless.End().error_message(), "the client has no identity");
}

wire::Envelope HelloOfProtocol(unsigned number)
{
    wire::Envelope envelope = HelloEnvelope();
    envelope.mutable_hello()->set_program("Corvan");
    envelope.mutable_hello()->set_version("0.0.9");
    envelope.mutable_hello()->set_protocol(number);
    return envelope;
}

TEST_F(MasterTest, TellsItsProtocolAndItsLogWhatThatOfAClientLacksOrBrings)
{
    Start();
    const std::string ours = std::to_string(corvan::k_Protocol);
    const std::string next = std::to_string(corvan::k_Protocol + 1);
    const std::pair<unsigned, std::string> cases[] = {
        {0, "Corvan 0.0.9: it speaks protocol 1, the Master " + ours +
                "; protocol 1 lacks: users and rights"},
        {corvan::k_Protocol, ""},
        {corvan::k_Protocol + 1, "what protocol " + next + " brought is not known here"},
    };
    for (const auto &[protocol, told] : cases)
    {
        const LogCapture log;
        RawClient client(m_master->Address());
        ASSERT_TRUE(client.Send(HelloOfProtocol(protocol)));
        const auto welcome = client.Receive();
        ASSERT_TRUE(welcome && welcome->has_welcome()) << protocol;
        EXPECT_EQ(welcome->welcome().protocol(), corvan::k_Protocol);
        const int count = told.empty() ? 0 : 1;
        EXPECT_EQ(log.Count(ostrel::k_LogStatus, "speaks protocol"), count) << protocol;
        EXPECT_EQ(log.Count(ostrel::k_LogStatus, told.empty() ? "speaks protocol" : told), count);
    }
}

TEST_F(MasterTest, TurnsAwayAClientWhoseProtocolIsTooOldAndSaysWhatToDo)
{
    m_settings.server.leastProtocol = 2;
    Start();
    RawClient client(m_master->Address());
    ASSERT_TRUE(client.Send(HelloOfProtocol(1)));
    const std::string told = client.End().error_message();
    EXPECT_TRUE(told.starts_with("Corvan 0.0.9 speaks protocol 1, and the Master, version "))
        << told;
    EXPECT_TRUE(told.ends_with(", takes 2 and newer: install a newer one here")) << told;
    EXPECT_TRUE(Connect());
}

TEST_F(MasterTest, CutsOffWhoDoesNotSayHello)
{
    m_settings.server.helloWithin = 1s;
    Start();
    RawClient silent(m_master->Address());
    EXPECT_EQ(silent.End().error_code(), grpc::StatusCode::DEADLINE_EXCEEDED);
    EXPECT_TRUE(RawClient(m_master->Address()).SayHello());
}

TEST_F(MasterTest, TurnsAwayMoreClientsThanItTakes)
{
    m_settings.server.maxClients = 2;
    Start();
    auto one = Connect();
    const auto other = Connect();
    RawClient third(m_master->Address());
    EXPECT_FALSE(third.SayHello());
    EXPECT_EQ(third.End().error_message(), "the Master has too many clients");
    EXPECT_EQ(Status(*other, UID(true).ToString()), "(no job)");

    // As the programs hear it.
    std::promise<ostrel::String> told;
    std::atomic_flag isTold;
    corvan::GrpcLink::Settings settings;
    settings.address = *corvan::MasterAddress::Parse(m_master->Address(), nullptr);
    settings.identity = {UID(true), corvan::k_ClientCommandLine, "Test", "0.1"};
    corvan::GrpcLink link(settings);
    link.Start({[] {}, [](const ostrel::String &) {}, [](const auto &) {},
                [&](const ostrel::String &reason)
                {
                    if (!isTold.test_and_set())
                        told.set_value(reason);
                }});
    auto reason = told.get_future();
    ASSERT_EQ(reason.wait_for(20s), std::future_status::ready);
    EXPECT_EQ(reason.get(), "the Master has too many clients");
}

TEST_F(MasterTest, ServesOthersWhenAMessageIsTooLongOrCannotBeRead)
{
    Start();
    const auto other = Connect();
    const auto oversized = Connect();
    oversized->Send(
        SetEnvelope(UID(true).ToString(), "Note", std::string(corvan::k_MaxMessageBytes + 1, 'x')));
    EXPECT_EQ(oversized->End().error_code(), grpc::StatusCode::RESOURCE_EXHAUSTED);

    const auto malformed = Connect();
    // Text that is no UTF-8 is no text of the protocol.
    malformed->Send(SetEnvelope(UID(true).ToString(), "\xff", "x"));
    EXPECT_EQ(malformed->End().error_message(), "the message cannot be read");

    EXPECT_EQ(Status(*other, UID(true).ToString()), "(no job)");
}

TEST_F(MasterTest, AnswersWhatAClientAskedBeforeItSentNoMore)
{
    Start();
    const auto client = Connect();
    for (int i = 0; i < 500; ++i)
        ASSERT_TRUE(client->Send(GetJobEnvelope(UID(true).ToString())));
    client->CloseSending();
    int answers = 0;
    while (const auto answer = client->Receive())
        answers += answer->has_refused() ? 1 : 0;
    EXPECT_EQ(answers, 500);
    EXPECT_TRUE(client->End().ok());
}

TEST_F(MasterTest, CutsOffAFollowerThatDoesNotReadAndServesTheOthers)
{
    m_settings.server.limits.outBytes = 4u << 20;
    Start();
    const LogCapture log;
    const auto stalled = Connect(), other = Connect();
    const std::string job = Submit(*stalled, {{"Range", "1"}, {"Status", "4"}});

    const std::string note(1u << 20, 'x');
    int changes = 0;
    while (log.Count(ostrel::k_LogWarning, "it leaves too much unread") == 0 && changes < 200)
    {
        ASSERT_TRUE(other->Ask(SetEnvelope(job, "Note", note))->has_accepted());
        ++changes;
    }
    EXPECT_EQ(log.Count(ostrel::k_LogWarning, "it leaves too much unread"), 1);
    EXPECT_EQ(Status(*other, job), "4");
    EXPECT_EQ(stalled->End().error_message(), "too much is left unread");
}

TEST_F(MasterTest, TellsAProgramWhyItIsCutOffAndGivesItTheJobWhenItComesBack)
{
    m_settings.server.limits.outBytes = 4u << 20;
    Start();
    const auto other = Connect();
    const std::string job = Submit(*other, {{"Range", "1"}, {"Status", "4"}});
    const auto follow = boost::make_shared<corvan::FollowJobMsg>();
    const auto ask = boost::make_shared<corvan::GetJobInfoMsg>();
    follow->jobs = ask->jobs = {UID(job, true)};

    std::promise<void> hasFollowed, mayRead;
    std::promise<ostrel::String> lost, last;
    auto follows = hasFollowed.get_future();
    auto reading = mayRead.get_future();
    auto reason = lost.get_future();
    auto found = last.get_future();
    int connections = 0; // The link's thread alone.
    corvan::GrpcLink::Settings settings;
    settings.address = *corvan::MasterAddress::Parse(m_master->Address(), nullptr);
    settings.identity = {UID(true), corvan::k_ClientWatcher, "Test", "0.1"};
    corvan::GrpcLink link(settings);
    // As the program's own session does each time.
    const auto greet = [&]
    {
        ++connections;
        link.Send(follow);
        link.Send(ask);
    };
    const auto take = [&](const boost::shared_ptr<corvan::Message> &message)
    {
        const auto *whole = dynamic_cast<const corvan::JobMsg *>(message.get());
        if (!whole)
            return;
        if (connections > 1)
            return last.set_value(whole->job->ParameterText("Note", false));
        hasFollowed.set_value();
        reading.wait_for(30s);
    };
    link.Start({greet, [&](const ostrel::String &why) { lost.set_value(why); }, take});
    ASSERT_EQ(follows.wait_for(20s), std::future_status::ready);

    const LogCapture log;
    const std::string note(1u << 20, 'x');
    for (int i = 0; log.Count(ostrel::k_LogWarning, "it leaves too much unread") == 0 && i < 200;
         ++i)
        ASSERT_TRUE(other->Ask(SetEnvelope(job, "Note", note))->has_accepted());
    ASSERT_TRUE(other->Ask(SetEnvelope(job, "Note", "the last"))->has_accepted());
    mayRead.set_value();
    ASSERT_EQ(reason.wait_for(20s), std::future_status::ready);
    EXPECT_EQ(reason.get(), "too much is left unread");
    ASSERT_EQ(found.wait_for(20s), std::future_status::ready);
    EXPECT_EQ(found.get(), "the last");
    link.Stop();
}

TEST_F(MasterTest, HoldsUpAClientThatAsksAndDoesNotRead)
{
    m_settings.server.limits.outPauseMessages = 10;
    Start();
    const auto flood = Connect(), other = Connect();
    const std::string job =
        Submit(*flood, {{"Range", "1"}, {"Status", "4"}, {"Note", std::string(100'000, 'x')}});

    constexpr int k_requests = 300;
    std::jthread writer(
        [&]
        {
            for (int i = 0; i < k_requests; ++i)
                if (!flood->Send(GetJobEnvelope(job)))
                    return;
        });
    // The other is served at once all the while.
    for (int i = 0; i < 50; ++i)
        ASSERT_EQ(Status(*other, job), "4");

    int answers = 0;
    while (answers < k_requests && flood->Receive())
        ++answers;
    EXPECT_EQ(answers, k_requests);
}

TEST_F(MasterTest, AnswersAllThatAClientAsksAtOnceThoughItIsMoreThanMayWait)
{
    m_settings.server.limits.outPauseBytes = 10'000;
    m_settings.server.limits.outBytes = 300'000;
    Start();
    const auto client = Connect();
    const std::string job = Submit(*client, {{"Range", "1-5000"}, {"Status", "4"}});
    constexpr int k_requests = 60;
    for (int i = 0; i < k_requests; ++i)
        ASSERT_TRUE(client->Send(GetTasksEnvelope(job)));
    for (int i = 0; i < k_requests; ++i)
        ASSERT_TRUE(client->ReceiveUntil([](const wire::Envelope &envelope)
                                         { return envelope.task_list().tasks_size() == 5000; }))
            << "answer " << i;
}

TEST_F(MasterTest, EndsTheCommandsOfACancelledJob)
{
    Start();
    const auto client = Connect();
    const std::string job =
        Submit(*client, {{"Range", "1-9"}, {"Script", "trap 'exit 0' TERM; " + WaitsFor("go")}});
    ASSERT_TRUE(client->ReceiveUntil(IsNews("Status", "1")));
    EXPECT_TRUE(client->Ask(SetEnvelope(job, "Status", "5"))->has_accepted());

    // The slots are free for another job once the commands are gone.
    Submit(*client, {{"Range", "1"}, {"Script", "exit 0"}});
    ASSERT_TRUE(client->ReceiveUntil(IsNews("Status", "2")));
    EXPECT_EQ(Status(*client, job), "5");
    EXPECT_EQ(ParameterOf(client->Ask(GetJobEnvelope(job))->job(), "TasksDone"), "0");
}

TEST_F(MasterTest, RunsAJobAgainAfterItsOldCommandsAreGone)
{
    Start();
    const auto client = Connect();
    const std::string job = Submit(*client, {{"Range", "1"}, {"Script", WaitsFor("go")}});
    ASSERT_TRUE(client->ReceiveUntil(IsNews("Status", "1")));
    EXPECT_TRUE(client->Ask(SetEnvelope(job, "Status", "5"))->has_accepted());
    EXPECT_TRUE(client->Ask(SetEnvelope(job, "Status", "0"))->has_accepted());
    m_folder.MakeFile("go");
    ASSERT_TRUE(client->ReceiveUntil(IsNews("Status", "2")));
}

TEST_F(MasterTest, CutsARunningJobAnew)
{
    Start();
    const auto client = Connect();
    const std::string job = Submit(*client, {{"Range", "1-3"}, {"Script", WaitsFor("go")}});
    ASSERT_TRUE(client->ReceiveUntil(IsNews("Status", "1")));
    m_folder.MakeFile("go");
    EXPECT_TRUE(client->Ask(SetEnvelope(job, "Range", "11-12"))->has_accepted());
    ASSERT_TRUE(client->ReceiveUntil(IsNews("Status", "2")));
    const auto tasks = client->Ask(GetTasksEnvelope(job))->task_list();
    ASSERT_EQ(tasks.tasks_size(), 2);
    EXPECT_EQ(tasks.tasks(0).first_frame(), 11);
    EXPECT_EQ(tasks.tasks(1).status(), 2);
}

TEST_F(MasterTest, FailsAJobWhoseCommandFailsThreeTimes)
{
    Start();
    const auto client = Connect();
    const std::string job = Submit(*client, {{"Range", "1"}, {"Script", "exit 9"}});
    ASSERT_TRUE(client->ReceiveUntil(IsNews("Status", "3")));
    const auto task = client->Ask(GetTasksEnvelope(job))->task_list().tasks(0);
    EXPECT_EQ(task.tries(), 3u);
    EXPECT_EQ(task.exit_code(), 9);
    EXPECT_EQ(task.status(), 3);
}

// Without control groups, too.
TEST_F(MasterTest, EndsATaskThatExceedsALimitOfItsJobAndSaysWhich)
{
    Start();
    const auto client = Connect();
    const struct
    {
        const char *name, *value, *script, *reason;
    } cases[] = {
        {"MaxSeconds", "1", "sleep 100", "it took longer than 1 seconds"},
        {"MaxMemoryMB", "40", "(head -c 200000000 /dev/zero; exec sleep 100) | tail -n 1",
         "it took more memory than 40 MiB"},
        {"MaxProcesses", "5", "for i in 1 2 3 4 5 6 7 8; do setsid sleep 100 & done; wait",
         "it had more than 5 processes"},
    };
    for (const auto &[name, value, script, reason] : cases)
    {
        const std::string job =
            Submit(*client, {{"Range", "1"}, {"Script", script}, {name, value}});
        ASSERT_TRUE(client->ReceiveUntil(IsNews("Status", "3"))) << name;
        const auto tasks = client->Ask(GetTasksEnvelope(job));
        ASSERT_TRUE(tasks && tasks->task_list().tasks_size() == 1);
        EXPECT_EQ(tasks->task_list().tasks(0).reason(), reason);
        EXPECT_EQ(tasks->task_list().tasks(0).tries(), 3u);
    }
}

TEST_F(MasterTest, GivesTheLogOfEachTry)
{
    Start();
    const auto client = Connect();
    const std::string job =
        Submit(*client, {{"Range", "1"},
                         {"Script", "cd '" + m_folder.Folder().Text() +
                                        "'; echo x >> tries; wc -l < tries; exit 9"}});
    ASSERT_TRUE(client->ReceiveUntil(IsNews("Status", "3")));
    for (const unsigned attempt : {0u, 1u, 2u, 3u})
    {
        wire::Envelope ask;
        ask.mutable_get_task_log()->set_job(job);
        ask.mutable_get_task_log()->set_attempt(attempt);
        const auto answer = client->Ask(ask);
        const unsigned given = attempt == 0 ? 3 : attempt;
        EXPECT_EQ(answer->task_log().text(), std::to_string(given) + "\n");
        EXPECT_EQ(answer->task_log().attempt(), given);
    }
}

TEST_F(MasterTest, KeepsAJobWhoseProgramIsMissingUntilItIsThere)
{
    const ostrel::Path program = m_folder / "renderer";
    TestJobTypes::RunsProgram(program.Text());
    Start();
    const auto client = Connect();
    const std::string job = Submit(*client, {{"Range", "1-50"}});
    ASSERT_TRUE(client->ReceiveUntil(
        IsNews("Waiting", "cannot start " + program.Text() + ": No such file or directory")));
    const auto shown = client->Ask(GetJobEnvelope(job))->job();
    EXPECT_EQ(ParameterOf(shown, "Status"), "0");
    EXPECT_EQ(ParameterOf(shown, "TasksFailed"), "0");
    EXPECT_NE(ParameterOf(shown, "Waiting"), "(not set)");

    std::filesystem::create_symlink("/bin/true", program.Text().c_str());
    ASSERT_TRUE(client->ReceiveUntil(IsNews("Waiting", "")));
    ASSERT_TRUE(client->ReceiveUntil(IsNews("Status", "2")));
    EXPECT_EQ(ParameterOf(client->Ask(GetJobEnvelope(job))->job(), "TasksDone"), "50");
}

TEST_F(MasterTest, KeepsJobsOfATypeThatIsNotThere)
{
    Start(0);
    const std::string job = Submit(*Connect(), {{"Range", "1-50"}, {"Script", "exit 0"}});
    m_master->Stop();
    TestJobTypes::Forget(k_ShellType);
    Start();
    const std::string other = UID(true).ToString();
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(Status(*Connect(), other), "(no job)");
    m_master->Stop();

    TestJobTypes::Forget(UID());
    Start(0);
    const auto answer = Connect()->Ask(GetJobEnvelope(job))->job();
    EXPECT_NE(ParameterOf(answer, "Status"), "3");
    EXPECT_EQ(ParameterOf(answer, "TasksFailed"), "0");
    EXPECT_EQ(ParameterOf(answer, "Waiting"),
              "the type " + k_ShellType.ToString() + " of the job is not known here");
}

// What ran when a Master was killed, on a disk that takes no change of it.
TEST_F(MasterTest, StartsNothingBeforeWhatRanIsQueuedAgainOnDisk)
{
    Start(0);
    const std::string job = Submit(*Connect(), {{"Range", "1-3"}, {"Script", "exit 0"}});
    m_master->Stop();
    SQLite::Database disk((m_settings.data / "jobs.db").Text(), SQLite::OPEN_READWRITE, 5000);
    disk.exec("INSERT INTO tasks(job, task, status, tries, failures, exit_code)"
              " SELECT number, 0, 1, 1, 0, 0 FROM jobs;"
              "UPDATE jobs SET status = 1, next_task = 1;"
              "CREATE TRIGGER full BEFORE UPDATE OF status ON tasks WHEN old.status = 1"
              " BEGIN SELECT RAISE(FAIL, 'database or disk is full'); END");

    const LogCapture log;
    Start();
    const auto client = Connect();
    EXPECT_TRUE(client->Ask(FollowEnvelope(job))->has_accepted());
    while (log.Count(ostrel::k_LogError, "database or disk is full") < 2)
        ASSERT_EQ(Status(*client, job), "1");
    EXPECT_EQ(ParameterOf(client->Ask(GetJobEnvelope(job))->job(), "TasksDone"), "0");
    disk.exec("DROP TRIGGER full");
    ASSERT_TRUE(client->ReceiveUntil(IsNews("Status", "2")));
    const auto answer = client->Ask(GetTasksEnvelope(job));
    for (const wire::Task &task : answer->task_list().tasks())
        EXPECT_EQ(task.status(), 2);
}

TEST_F(MasterTest, KeepsJobsAndQueuesWhatRanWhenItEnds)
{
    Start();
    auto client = Connect();
    const std::string job = Submit(*client, {{"Range", "1-3"}, {"Script", WaitsFor("go")}});
    ASSERT_TRUE(client->ReceiveUntil(IsNews("Status", "1")));
    const auto identity = [&]
    {
        RawClient asks(m_master->Address());
        return asks.Ask(HelloEnvelope())->welcome().master();
    };
    const std::string before = identity();
    m_master->Stop();
    EXPECT_FALSE(std::filesystem::exists((m_folder / "m.sock").Text().c_str()));
    EXPECT_FALSE(client->End().ok());

    m_folder.MakeFile("go");
    Start();
    EXPECT_EQ(identity(), before);
    client = Connect();
    EXPECT_TRUE(client->Ask(FollowEnvelope(job))->has_accepted());
    EXPECT_TRUE(Status(*client, job) == "2" || client->ReceiveUntil(IsNews("Status", "2")));
    const auto tasks = client->Ask(GetTasksEnvelope(job))->task_list();
    EXPECT_EQ(tasks.tasks(0).tries(), 2u);
    EXPECT_EQ(tasks.tasks(2).tries(), 1u);
}

TEST_F(MasterTest, IsOneForADataFolderAndOneForAnAddress)
{
    Start();
    MasterSettings sameData = m_settings;
    sameData.server.address = SettingsIn(m_folder / "x").server.address;
    EXPECT_EQ(RunningMaster(sameData).Error(),
              "another Master uses data folder " + m_settings.data.Text());

    MasterSettings sameAddress = m_settings;
    sameAddress.data = m_folder / "other";
    EXPECT_EQ(RunningMaster(sameAddress).Error(),
              "another Master uses address " + (m_folder / "m.sock").Text());
    EXPECT_TRUE(RawClient(m_master->Address()).SayHello());
}

TEST_F(MasterTest, GoesOnWhenTheDiskIsFull)
{
    Start();
    const auto client = Connect();
    const std::string job = Submit(*client, {{"Range", "1"}, {"Status", "4"}});

    ::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    ::getrlimit(RLIMIT_FSIZE, &before);
    rlimit full = before;
    full.rlim_cur = 600'000;
    ::setrlimit(RLIMIT_FSIZE, &full);
    const std::string note(2'000'000, 'x');
    const auto refused = client->Ask(SetEnvelope(job, "Note", note));
    EXPECT_EQ(Status(*client, job), "4");
    ::setrlimit(RLIMIT_FSIZE, &before);
    ::signal(SIGXFSZ, SIG_DFL);

    ASSERT_TRUE(refused && refused->has_refused());
    EXPECT_TRUE(refused->refused().reason().starts_with("job store "))
        << refused->ShortDebugString();
    EXPECT_EQ(ParameterOf(client->Ask(GetJobEnvelope(job))->job(), "Note"), "(not set)");
    EXPECT_TRUE(client->Ask(SetEnvelope(job, "Note", note))->has_accepted());
    EXPECT_TRUE(client->ReceiveUntil(IsNews("Note", note)));
}

TEST_F(MasterTest, NotesHowACommandEndedOnceTheDiskHasRoomAgain)
{
    Start();
    const auto client = Connect();
    const std::string job = Submit(*client, {{"Range", "1"}, {"Script", WaitsFor("go")}});
    ASSERT_TRUE(client->ReceiveUntil(IsNews("Status", "1")));

    const LogCapture log;
    ::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    ::getrlimit(RLIMIT_FSIZE, &before);
    rlimit full = before;
    full.rlim_cur = 1;
    ::setrlimit(RLIMIT_FSIZE, &full);
    m_folder.MakeFile("go");
    for (int i = 0; i < 3000 && log.Count(ostrel::k_LogError, "job store ") == 0; ++i)
        EXPECT_EQ(Status(*client, job), "1");
    ::setrlimit(RLIMIT_FSIZE, &before);
    ::signal(SIGXFSZ, SIG_DFL);

    ASSERT_TRUE(client->ReceiveUntil(IsNews("Status", "2")));
}

TEST_F(MasterTest, RefusesWhatItHasNoMemoryForAndGoesOn)
{
    Start();
    const auto client = Connect();
    const std::string running = Submit(*client, {{"Range", "1"}, {"Script", WaitsFor("go")}});
    const std::string large = Submit(*client, {{"Range", "1-20000"}, {"Status", "4"}});

    std::optional<wire::Envelope> refused;
    {
        const MemoryLimit limit(300'000);
        refused = client->Ask(GetTasksEnvelope(large));
    }
    ASSERT_TRUE(refused && refused->has_refused());
    EXPECT_EQ(refused->refused().what(), "GetTasks");
    EXPECT_EQ(refused->refused().reason(), "out of memory");
    EXPECT_EQ(client->Ask(GetTasksEnvelope(large))->task_list().tasks_size(), 20'000);
    m_folder.MakeFile("go");
    EXPECT_TRUE(client->ReceiveUntil(IsNews("Status", "2")));
    EXPECT_EQ(Status(*client, running), "2");
}

TEST_F(MasterTest, EndsWhenItIsIdle)
{
    m_settings.endWhenIdle = 60ms;
    Start();
    EXPECT_TRUE(m_master->WaitForEnd());
}

TEST_F(MasterTest, DoesNotEndWhileAClientIsThere)
{
    // Longer where a busy machine does not let the client come in time.
    auto idle = 100ms;
    std::unique_ptr<RawClient> client;
    do
    {
        idle *= 2;
        ASSERT_LT(idle, 30s);
        m_settings.endWhenIdle = idle;
        Start();
        client = std::make_unique<RawClient>(m_master->Address());
    } while (!client->SayHello());

    const auto start = std::chrono::steady_clock::now();
    while (std::chrono::steady_clock::now() - start < 3 * idle)
        ASSERT_EQ(Status(*client, UID(true).ToString()), "(no job)");
    client.reset();
    EXPECT_TRUE(m_master->WaitForEnd());
}

TEST_F(MasterTest, TakesAJobOfTenMillionPackets)
{
    Start(1);
    const auto client = Connect();
    const std::string job = Submit(*client, {{"Range", "1-10000000"}, {"Script", WaitsFor("go")}});
    ASSERT_TRUE(client->ReceiveUntil(IsNews("Status", "1")));
    EXPECT_TRUE(client->Ask(GetTasksEnvelope(job))->has_refused());
    EXPECT_TRUE(client->Ask(SetEnvelope(job, "Status", "5"))->has_accepted());
    EXPECT_TRUE(client->Ask(SetEnvelope(job, "Status", "0"))->has_accepted());
    EXPECT_TRUE(client->Ask(SetEnvelope(job, "Status", "5"))->has_accepted());
}

// A Master that listens beyond its machine: TLS and a token.
class MasterOverTcpTest : public MasterTest
{
protected:
    MasterOverTcpTest()
    {
        m_settings.server.address = {corvan::MasterAddress::Kind::Tcp, "127.0.0.1:0", {}};
        m_settings.server.security = {
            m_folder.MakeFile("certificate.pem", m_certificate.certificate),
            m_folder.MakeFile("key.pem", m_certificate.key), "the right token"};
        ::chmod((m_folder / "key.pem").Text().c_str(), 0600);
    }

    std::shared_ptr<grpc::ChannelCredentials> Credentials() const
    {
        grpc::SslCredentialsOptions options;
        options.pem_root_certs = m_certificate.certificate;
        return grpc::SslCredentials(options);
    }

    TestCertificate m_certificate;
};

TEST_F(MasterOverTcpTest, ServesWhoKnowsTheToken)
{
    Start();
    RawClient client(m_master->Address(), Credentials(), "the right token");
    ASSERT_TRUE(client.SayHello());
    EXPECT_EQ(Status(client, UID(true).ToString()), "(no job)");
}

TEST_F(MasterOverTcpTest, TurnsAwayWhoDoesNot)
{
    Start();
    for (const char *token : {"", "the right toke", "the right token2", "another token 1"})
    {
        RawClient client(m_master->Address(), Credentials(), token);
        EXPECT_FALSE(client.SayHello()) << token;
        EXPECT_EQ(client.End().error_code(), grpc::StatusCode::UNAUTHENTICATED) << token;
    }
}

TEST_F(MasterOverTcpTest, WantsCertificateKeyAndToken)
{
    const master::ServerSettings complete = m_settings.server;
    const std::string reason =
        "cannot listen at 127.0.0.1:0 without \"Certificate\" and \"Key\" in "
        "section \"Master\" of the options file";
    const std::string noToken = "cannot listen at 127.0.0.1:0 without a token; make one with "
                                "\"corvan-master token add\"";
    m_settings.server.security->token.clear();
    EXPECT_EQ(RunningMaster(m_settings).Error(), noToken);
    m_settings.server = complete;
    m_settings.server.security->key = {};
    EXPECT_EQ(RunningMaster(m_settings).Error(), reason);
    m_settings.server = complete;
    m_settings.server.security->certificate = {};
    EXPECT_EQ(RunningMaster(m_settings).Error(), reason);
    m_settings.server.security.reset();
    EXPECT_EQ(RunningMaster(m_settings).Error(), reason);
}

TEST_F(MasterOverTcpTest, IsOneForAPort)
{
    Start();
    MasterSettings second = m_settings;
    second.data = m_folder / "other";
    second.server.address.text = m_master->Address();
    EXPECT_EQ(RunningMaster(second).Error(), "cannot listen at " + m_master->Address() +
                                                 ": the address is in use or not of this machine");
}

} // namespace
