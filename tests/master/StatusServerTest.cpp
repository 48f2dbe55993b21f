#include "master/door/StatusServer.h"

#include <future>
#include <list>
#include <vector>

#include <gtest/gtest.h>

#include "ostrel/Exception.h"
#include "tests/master/HttpClient.h"
#include "tests/support/Thrown.h"

using master::StatusServer;

namespace
{

class Told : public StatusServer::Source
{
public:
    std::string MetricsText() override
    {
        if (!failure.empty())
            throw new ostrel::Exception(failure);
        if (gate.valid())
            gate.wait();
        return "corvan_clients 3\n";
    }
    ostrel::String Trouble() override
    {
        return trouble;
    }

    ostrel::String trouble;
    ostrel::String failure;
    std::shared_future<void> gate; // Metrics take until it is there.
};

TEST(StatusServer, AnswersToTwoPathsAndNothingElse)
{
    Told source;
    const StatusServer server(0, source);
    const struct
    {
        const char *method;
        const char *path;
        int status;
        const char *type;
        const char *body;
        const char *length;
    } cases[] = {
        {"GET", "/healthz", 200, "text/plain; charset=utf-8", "ok\n", "3"},
        {"HEAD", "/healthz", 200, "text/plain; charset=utf-8", "", "3"},
        {"GET", "/metrics", 200, "text/plain; version=0.0.4; charset=utf-8", "corvan_clients 3\n",
         "17"},
        {"HEAD", "/metrics", 200, "text/plain; version=0.0.4; charset=utf-8", "", "17"},
        {"GET", "/", 404, "text/plain; charset=utf-8", "there are /metrics and /healthz\n", "32"},
        {"GET", "/metrics/../etc/passwd", 404, "text/plain; charset=utf-8",
         "there are /metrics and /healthz\n", "32"},
        {"POST", "/metrics", 405, "text/plain; charset=utf-8", "only GET and HEAD\n", "18"},
    };
    for (const auto &each : cases)
    {
        const HttpAnswer answer = HttpGet(server.Port(), each.path, each.method);
        const std::string name = std::string(each.method) + " " + each.path;
        EXPECT_EQ(answer.status, each.status) << name;
        EXPECT_EQ(answer.body, each.body) << name;
        ASSERT_TRUE(answer.fields.contains("Content-Type")) << name;
        EXPECT_EQ(answer.fields.at("Content-Type"), each.type) << name;
        EXPECT_EQ(answer.fields.at("Content-Length"), each.length) << name;
    }
}

TEST(StatusServer, SaysWhatIsWrong)
{
    Told source;
    source.trouble = "changes do not get to disk";
    source.failure = "cannot count";
    const StatusServer server(0, source);
    const HttpAnswer health = HttpGet(server.Port(), "/healthz");
    EXPECT_EQ(health.status, 503);
    EXPECT_EQ(health.body, "changes do not get to disk\n");
    const HttpAnswer metrics = HttpGet(server.Port(), "/metrics");
    EXPECT_EQ(metrics.status, 500);
    EXPECT_EQ(metrics.body, "cannot count\n");
}

TEST(StatusServer, TellsHealthWhileMetricsTakeTheirTime)
{
    Told source;
    std::promise<void> gate;
    source.gate = gate.get_future();
    const StatusServer server(0, source);
    std::list<HttpClient> waiting;
    for (int i = 0; i < 8; ++i)
        waiting.emplace_back(server.Port()).Send("GET /metrics HTTP/1.1\r\nHost: a\r\n\r\n");

    // Those before it may not have been read yet.
    HttpAnswer refused = {};
    std::vector<std::future<HttpAnswer>> more;
    for (int i = 0; i < 8 && refused.status == 0; ++i)
    {
        auto &one = more.emplace_back(
            std::async(std::launch::async, [&] { return HttpGet(server.Port(), "/metrics"); }));
        EXPECT_EQ(HttpGet(server.Port(), "/healthz").status, 200);
        if (one.wait_for(std::chrono::seconds(1)) == std::future_status::ready)
            refused = one.get();
    }
    EXPECT_EQ(refused.status, 503);
    EXPECT_EQ(refused.body, "too many wait for the metrics\n");

    gate.set_value();
    for (HttpClient &client : waiting)
        EXPECT_EQ(client.Receive().status, 200);
}

TEST(StatusServer, HasPlacesAgainOnceSilentPeersAreGone)
{
    Told source;
    const StatusServer server(0, source);
    {
        std::list<HttpClient> silent;
        for (int i = 0; i < 64; ++i)
            ASSERT_TRUE(silent.emplace_back(server.Port()).IsConnected());
        // Taken in their order.
        EXPECT_EQ(HttpGet(server.Port(), "/healthz").status, 0);
        // They have not said anything in their time.
        EXPECT_EQ(silent.front().Receive().status, 0);
    }
    int status = 0;
    for (int i = 0; i < 1000 && status == 0; ++i)
        status = HttpGet(server.Port(), "/healthz").status;
    EXPECT_EQ(status, 200);
}

// Each field by itself is short, and there are always more to come.
TEST(StatusServer, HangsUpOnAHeaderThatComesByAndBy)
{
    Told source;
    const StatusServer server(0, source);
    HttpClient client(server.Port());
    client.Send("GET /healthz HTTP/1.1\r\n");
    for (int i = 0; i < 2000; ++i)
        client.Send("X-" + std::to_string(i) + ": 1\r\n");
    client.Send("\r\n");
    EXPECT_EQ(client.Receive().status, 0);
    EXPECT_EQ(HttpGet(server.Port(), "/healthz").status, 200);
}

TEST(StatusServer, HangsUpOnWhatIsNoRequest)
{
    Told source;
    const StatusServer server(0, source);
    for (const std::string &text :
         {std::string("\x16\x03\x01\x02"),
          "GET /metrics HTTP/1.1\r\nX: " + std::string(10'000, 'x'),
          std::string("POST /metrics HTTP/1.1\r\nContent-Length: 100000\r\n\r\n")})
    {
        HttpClient client(server.Port());
        client.Send(text + "\r\n\r\n");
        EXPECT_EQ(client.Receive().status, 0) << text.substr(0, 20);
    }
    EXPECT_EQ(HttpGet(server.Port(), "/healthz").status, 200);
}

TEST(StatusServer, RefusesAPortThatIsTaken)
{
    Told source;
    const StatusServer server(0, source);
    const std::string reason = Thrown([&] { StatusServer(server.Port(), source); });
    EXPECT_TRUE(reason.starts_with("cannot listen at 127.0.0.1:" + std::to_string(server.Port()) +
                                   " for /metrics and /healthz: "))
        << reason;
}

} // namespace
