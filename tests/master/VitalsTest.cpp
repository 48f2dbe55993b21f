// What those see who watch over a Master, by the doors that they come by.
#include "master/vitals/Vitals.h"

#include <SQLiteCpp/Database.h>
#include <future>

#include <gtest/gtest.h>

#include "master/door/health.grpc.pb.h"
#include "tests/master/HttpClient.h"
#include "tests/master/MasterProgram.h"
#include "tests/master/RawClient.h"
#include "tests/master/RunningMaster.h"
#include "tests/master/TestJobs.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TempFolder.h"

namespace health = grpc::health::v1;
using ostrel::UID;
using namespace std::chrono_literals;

namespace
{

class VitalsTest : public ::testing::Test
{
protected:
    VitalsTest()
    {
        m_settings.statusPort = 0;
    }

    void Start(int slots = 2)
    {
        m_master = std::make_unique<RunningMaster>(m_settings, slots);
        ASSERT_EQ(m_master->Error(), "");
    }

    HttpAnswer Get(const std::string &path) const
    {
        return HttpGet(m_master->StatusPort(), path);
    }

    // Asks until the answer has this status; gives its text.
    std::string HealthOnceItIs(int status) const
    {
        const auto limit = std::chrono::steady_clock::now() + 30s;
        HttpAnswer answer = Get("/healthz");
        while (answer.status != status && std::chrono::steady_clock::now() < limit)
            answer = Get("/healthz");
        EXPECT_EQ(answer.status, status);
        return answer.body;
    }

    // The value of a line of the metrics; fails the test where there is none.
    double Metric(const std::string &name) const
    {
        const HttpAnswer answer = Get("/metrics");
        EXPECT_EQ(answer.status, 200) << answer.body;
        const std::size_t found = ("\n" + answer.body).find("\n" + name + " ");
        if (found == std::string::npos)
        {
            ADD_FAILURE() << "no " << name << " in\n" << answer.body;
            return -1;
        }
        return std::stod(answer.body.substr(found + name.size() + 1));
    }

    // The same, once it is so.
    bool ComesToBe(const std::string &name, double value) const
    {
        const auto limit = std::chrono::steady_clock::now() + 30s;
        while (Metric(name) != value)
            if (std::chrono::steady_clock::now() > limit)
                return false;
        return true;
    }

    static wire::Envelope JobEnvelope(const std::string &script)
    {
        wire::Envelope envelope;
        wire::Job &job = *envelope.mutable_job();
        job.set_id(UID(true).ToString());
        job.set_type(k_ShellType.ToString());
        for (const auto &[name, value] :
             {std::pair<std::string, std::string>{"Range", "1-3"}, {"Script", script}})
        {
            wire::Parameter &parameter = *job.add_parameters();
            parameter.set_name(name);
            parameter.set_value(value);
        }
        return envelope;
    }

    TempFolder m_folder;
    TestJobTypes m_types;
    master::MasterSettings m_settings = SettingsIn(m_folder.Folder());
    std::unique_ptr<RunningMaster> m_master;
};

TEST_F(VitalsTest, AreCountedAsTheWorkGoesOn)
{
    Start();
    RawClient client(m_master->Address());
    ASSERT_TRUE(client.SayHello());
    EXPECT_EQ(Metric(R"(corvan_tasks{status="Queued"})"), 0);
    EXPECT_EQ(Metric("corvan_queue_age_seconds"), 0);

    const std::string waits =
        "while [ ! -e '" + (m_folder / "go").Text() + "' ]; do sleep 0.01; done";
    ASSERT_TRUE(client.Ask(JobEnvelope(waits))->has_accepted());
    EXPECT_TRUE(ComesToBe(R"(corvan_tasks{status="Running"})", 2));
    EXPECT_EQ(Metric(R"(corvan_tasks{status="Queued"})"), 1);
    EXPECT_GT(Metric("corvan_queue_age_seconds"), 0);
    const double commits = Metric(R"(corvan_commits_total{result="done"})");
    EXPECT_GE(commits, 1);

    m_folder.MakeFile("go");
    EXPECT_TRUE(ComesToBe(R"(corvan_tasks{status="Done"})", 3));
    EXPECT_TRUE(ComesToBe(R"(corvan_jobs{status="Done"})", 1));
    EXPECT_GT(Metric(R"(corvan_commits_total{result="done"})"), commits);
    EXPECT_EQ(Metric(R"(corvan_commits_total{result="failed"})"), 0);
    EXPECT_EQ(Metric("corvan_healthy"), 1);
    EXPECT_TRUE(ComesToBe("corvan_clients", 1));

    const double refusals = Metric("corvan_refusals_total");
    ASSERT_TRUE(client.Ask(GetTasksEnvelope(UID(true).ToString()))->has_refused());
    EXPECT_TRUE(ComesToBe("corvan_refusals_total", refusals + 1));
    const double turns = Metric("corvan_turn_seconds_count");
    EXPECT_GT(turns, 3);
    EXPECT_EQ(Metric(R"(corvan_turn_seconds_bucket{le="+Inf"})"), turns);
}

TEST_F(VitalsTest, AreToldToGrpcsOwnToolsToo)
{
    m_settings.loopPatience = 300ms;
    Start();
    const auto channel =
        grpc::CreateChannel(m_master->Address(), grpc::InsecureChannelCredentials());
    const auto stub = health::Health::NewStub(channel);
    const auto ask = [&](const std::string &service, health::HealthCheckResponse &answer)
    {
        grpc::ClientContext context;
        context.set_deadline(std::chrono::system_clock::now() + 30s);
        health::HealthCheckRequest request;
        request.set_service(service);
        return stub->Check(&context, request, &answer).error_code();
    };
    health::HealthCheckResponse answer;
    for (const char *service : {"", "corvan.wire.Master"})
    {
        EXPECT_EQ(ask(service, answer), grpc::StatusCode::OK) << service;
        EXPECT_EQ(answer.status(), health::HealthCheckResponse::SERVING) << service;
    }
    EXPECT_EQ(ask("corvan.wire.Nobody", answer), grpc::StatusCode::NOT_FOUND);
    m_master->OnLoop(
        [&]
        {
            HealthOnceItIs(503);
            EXPECT_EQ(ask("", answer), grpc::StatusCode::OK);
            EXPECT_EQ(answer.status(), health::HealthCheckResponse::NOT_SERVING);
        });
    HealthOnceItIs(200);
    EXPECT_EQ(ask("", answer), grpc::StatusCode::OK);
    EXPECT_EQ(answer.status(), health::HealthCheckResponse::SERVING);
}

TEST_F(VitalsTest, TellOfALoopThatHangs)
{
    m_settings.loopPatience = 300ms;
    Start();
    EXPECT_EQ(HealthOnceItIs(200), "ok\n");
    m_master->OnLoop(
        [&]
        {
            EXPECT_EQ(HealthOnceItIs(503), "the loop has taken no turn for 0 s\n");
            EXPECT_EQ(Metric("corvan_healthy"), 0);
            EXPECT_GT(Metric("corvan_turn_age_seconds"), 0.3);
        });
    EXPECT_EQ(HealthOnceItIs(200), "ok\n");
}

TEST_F(VitalsTest, TellThatNothingGetsToDiskAlsoWhereNobodyChangesAnything)
{
    Start();
    EXPECT_EQ(HealthOnceItIs(200), "ok\n");
    m_master->Stop();
    SQLite::Database disk((m_settings.data / "jobs.db").Text(), SQLite::OPEN_READWRITE, 5000);
    disk.exec("CREATE TRIGGER full BEFORE UPDATE ON master"
              " BEGIN SELECT RAISE(FAIL, 'database or disk is full'); END");
    const LogCapture log;
    Start();
    EXPECT_EQ(HealthOnceItIs(503), "changes do not get to disk\n");
    EXPECT_TRUE(ComesToBe(R"(corvan_commits_total{result="failed"})", 2)) << "it looks again";
    EXPECT_EQ(log.Count(ostrel::k_LogError, "changes do not get to disk"), 1u);
    disk.exec("DROP TRIGGER full");
    EXPECT_EQ(HealthOnceItIs(200), "ok\n");
}

TEST_F(VitalsTest, AreShownToNobodyWhereNoPortIsNamed)
{
    m_settings.statusPort.reset();
    Start();
    EXPECT_EQ(m_master->StatusPort(), 0);
}

TEST(VitalsOfTheProgram, AreAtThePortThatItsOptionsName)
{
    const TempFolder folder;
    // Nobody else is given it so soon.
    const std::uint16_t port = UnusedPort();
    const ostrel::Path options =
        folder.MakeFile("options.ini", "[Master]\nStatusPort = " + std::to_string(port) + "\n");
    MasterProgram program(folder.Folder(),
                          {"--options", options.Text(), "--listen", (folder / "m.sock").Text()});
    ASSERT_NE(program.ReadLine(), "");
    EXPECT_EQ(HttpGet(port, "/healthz").body, "ok\n");
}

TEST(VitalsOfTheProgram, AreNotAskedForAtWhatIsNoPort)
{
    const TempFolder folder;
    const ostrel::Path options = folder.MakeFile("options.ini", "[Master]\nStatusPort = 70000\n");
    MasterProgram program(folder.Folder(), {"--options", options.Text()});
    EXPECT_EQ(program.WaitForEnd(), 2);
    EXPECT_EQ(program.Errors(), "corvan-master: StatusPort 70000: it has to be a number from 1 to "
                                "65535, or 0 for none\n");
}

TEST_F(VitalsTest, NeedThePortThatIsNamed)
{
    Start();
    master::MasterSettings second = SettingsIn(m_folder / "second");
    second.statusPort = m_master->StatusPort();
    const RunningMaster other(second);
    EXPECT_NE(other.Error().find("for /metrics and /healthz"), std::string::npos) << other.Error();
}

} // namespace
