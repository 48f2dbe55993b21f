#include <gtest/gtest.h>

#include "ostrel/DescriptorLimit.h"
#include "tests/web/door/RunningDoor.h"

namespace
{

using std::chrono::milliseconds;
using std::chrono::seconds;

// What a test waits for comes long before, and what it must not see comes long after.
constexpr seconds k_long{20};
constexpr milliseconds k_short{100};

web::ServerSettings SmallSettings()
{
    web::ServerSettings settings = RunningDoor::PersonalSettings();
    settings.limits.headerBytes = 2000;
    settings.limits.targetBytes = 500;
    settings.limits.bodyBytes = 1000;
    settings.limits.openBodyBytes = 100;
    return settings;
}

TEST(DoorLimits, HoldForLengths)
{
    RunningDoor door(SmallSettings());
    const std::string known = RunningDoor::Bearer();
    const std::string chunked = door.Filled(
        "POST /api/things/a HTTP/1.1\r\n{host}{bearer}Content-Type: application/json\r\n"
        "Transfer-Encoding: chunked\r\n\r\n");
    const auto x = [](std::size_t count) { return std::string(count, 'x'); };
    const std::string manyFields = []
    {
        std::string fields;
        for (int i = 0; i < 300; ++i)
            fields += "X" + std::to_string(i) + ": 1\r\n";
        return fields;
    }();
    const struct
    {
        const char *what;
        std::string request;
        int status;
    } cases[] = {
        {"a long address", door.Get("/api/things/" + x(450), known), 200},
        {"an address that is too long", door.Get("/api/things/" + x(500), known), 414},
        {"an address that is longer than all", "GET /" + x(5000), 414},
        {"a long header", door.Get("/api/things/a", known + "X: " + x(1500) + "\r\n"), 200},
        {"a header that is too long", door.Get("/api/things/a", known + "X: " + x(2000) + "\r\n"),
         431},
        {"many headers", door.Get("/api/things/a", known + manyFields), 431},
        {"a header without an end", "GET / HTTP/1.1\r\nX: " + x(5000), 431},
        {"a long body", door.Post("/api/things/a", x(1000), known), 200},
        {"a body that is too long", door.Post("/api/things/a", x(1001), known), 413},
        {"a body that is said to be too long",
         door.Filled("POST /api/things/a HTTP/1.1\r\n{host}{bearer}Content-Type: "
                     "application/json\r\nContent-Length: 18446744073709551615\r\n\r\n"),
         413},
        {"a long body in pieces", chunked + "3e8\r\n" + x(1000) + "\r\n0\r\n\r\n", 200},
        {"a body in pieces that are too long", chunked + "3e9\r\n" + x(1001) + "\r\n0\r\n\r\n",
         413},
        {"a body in too many pieces",
         chunked + "258\r\n" + x(600) + "\r\n258\r\n" + x(600) + "\r\n0\r\n\r\n", 413},
        {"a piece that is said to be too long", chunked + "ffffffffffffffff\r\n", 413},
        {"a piece that is longer than can be said", chunked + "fffffffffffffffff\r\n", 400},
        {"much between the pieces", chunked + "1;" + x(9000), 400},
        {"much after the pieces", chunked + "0\r\n" + manyFields + manyFields + manyFields, 400},
        {"a body of who is not known", door.Post("/api/session", x(101), door.SameOrigin()), 413},
        {"a body of a read",
         door.Filled("GET /api/things/a HTTP/1.1\r\n{host}{bearer}"
                     "Content-Length: 1001\r\n\r\n") +
             x(1001),
         413},
    };
    for (const auto &[what, request, status] : cases)
        EXPECT_EQ(AskBare(door.Port(), request).status, status) << what;
    EXPECT_EQ(AskBare(door.Port(), door.Get("/api/things/a", known)).status, 200);
}

// Each field by itself is short, and there are always more to come.
TEST(DoorLimits, HoldForAHeaderThatComesByAndBy)
{
    RunningDoor door(SmallSettings());
    BareHttp client(door.Port());
    client.Send("GET / HTTP/1.1\r\n");
    for (int i = 0; i < 400; ++i)
        client.Send("X-" + std::to_string(i) + ": 1\r\n");
    EXPECT_EQ(client.Receive().status, 431);
}

TEST(DoorLimits, HoldForTimes)
{
    const std::string part = "POST /api/things/a HTTP/1.1\r\n";
    const struct
    {
        const char *what;
        std::chrono::milliseconds web::ServerLimits::*limit;
        const char *begin; // What is sent, and then nothing.
    } cases[] = {
        {"nothing is said", &web::ServerLimits::requestWithin, ""},
        {"a header does not end", &web::ServerLimits::requestWithin, "GET / HTTP/1.1\r\n"},
        {"a body does not end", &web::ServerLimits::bodyWithin,
         "POST /api/things/a HTTP/1.1\r\n{host}{json}{bearer}\r\n{"},
        {"no second request comes", &web::ServerLimits::idleFor,
         "GET /api/open HTTP/1.1\r\n{host}\r\n"},
    };
    for (const auto &[what, limit, begin] : cases)
    {
        web::ServerSettings settings = RunningDoor::PersonalSettings();
        settings.limits.*limit = k_short;
        RunningDoor door(settings);
        BareHttp client(door.Port());
        client.Send(door.Filled(begin));
        EXPECT_TRUE(client.IsClosed(k_long)) << what;
    }
}

// A byte now and then keeps nothing open.
TEST(DoorLimits, HoldForAHeaderThatDribbles)
{
    web::ServerSettings settings = RunningDoor::PersonalSettings();
    settings.limits.requestWithin = 3 * k_short;
    RunningDoor door(settings);
    BareHttp client(door.Port());
    client.Send("GET / HTTP/1.1\r\nX: ");
    const auto end = std::chrono::steady_clock::now() + k_long;
    bool isClosed = false;
    while (!isClosed && std::chrono::steady_clock::now() < end)
    {
        client.Send("x");
        isClosed = client.IsClosed(k_short / 5);
    }
    EXPECT_TRUE(isClosed);
}

TEST(DoorLimits, HoldForAnAnswerThatNobodyTakes)
{
    web::ServerSettings settings = RunningDoor::PersonalSettings();
    settings.limits.takeWithin = k_short;
    std::weak_ptr<const std::string> kept;
    RunningDoor door(
        settings,
        [&](web::Routes &routes)
        {
            routes.Add(web::Method::Get, "/api/large",
                       [&](const std::shared_ptr<const web::Request> &, const web::Reply &reply)
                       {
                           web::Response response;
                           response.body = std::make_shared<const std::string>(50'000'000, 'x');
                           kept = response.body;
                           reply(std::move(response));
                       });
        });
    BareHttp client(door.Port());
    client.Send(door.Get("/api/large", RunningDoor::Bearer()));
    const auto end = std::chrono::steady_clock::now() + k_long;
    const auto isThere = [&] { return door.On([&] { return !kept.expired(); }); };
    while (!isThere() && std::chrono::steady_clock::now() < end)
        std::this_thread::yield();
    while (isThere() && std::chrono::steady_clock::now() < end)
        std::this_thread::yield();
    EXPECT_FALSE(isThere());
}

TEST(DoorLimits, HoldForConnectionsOfAPeer)
{
    web::ServerSettings settings = RunningDoor::PersonalSettings();
    settings.limits.connectionsOfPeer = 3;
    std::vector<web::Reply> kept;
    RunningDoor door(settings,
                     [&](web::Routes &routes)
                     {
                         routes.Add(web::Method::Get, "/api/later",
                                    [&](const auto &, web::Reply reply)
                                    { kept.push_back(std::move(reply)); });
                     });
    std::vector<std::unique_ptr<BareHttp>> clients;
    const auto connect = [&](const char *from, const std::string &request) -> BareHttp &
    {
        clients.push_back(std::make_unique<BareHttp>(door.Port(), from));
        clients.back()->Send(request);
        return *clients.back();
    };
    const std::string open = door.Get("/api/open");
    const std::string later = door.Get("/api/later", RunningDoor::Bearer());
    // Of those that are idle the oldest makes room.
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(connect("127.0.0.1", open).Receive().status, 200);
    EXPECT_TRUE(clients.front()->IsClosed(k_long));
    clients.erase(clients.begin());
    for (std::size_t i = 0; i < clients.size(); ++i)
    {
        clients[i]->Send(later);
        while (door.On([&] { return kept.size(); }) <= i)
            std::this_thread::yield();
    }
    const BareAnswer refused = connect("127.0.0.1", open).Receive();
    EXPECT_EQ(refused.status, 429);
    EXPECT_EQ(refused.Field("Retry-After"), "1");
    EXPECT_EQ(refused.Field("Connection"), "close");
    clients.pop_back();
    EXPECT_EQ(connect("127.0.0.2", open).Receive().status, 200);
    door.On([&] { kept.clear(); });
    EXPECT_EQ(clients.front()->Receive().status, 500);
    // The ones that were refused have places as well until their peer is gone.
    int status = 0;
    for (int i = 0; i < 1000 && status != 200; ++i)
    {
        clients.pop_back();
        status = connect("127.0.0.1", open).Receive().status;
    }
    EXPECT_EQ(status, 200);
}

TEST(DoorLimits, MakeRoomAmongThoseThatAreIdle)
{
    web::ServerSettings settings = RunningDoor::PersonalSettings();
    settings.limits.connections = 3;
    std::vector<web::Reply> kept;
    RunningDoor door(settings,
                     [&](web::Routes &routes)
                     {
                         routes.Add(web::Method::Get, "/api/later",
                                    [&](const auto &, web::Reply reply)
                                    { kept.push_back(std::move(reply)); });
                     });
    const auto ask = [&](BareHttp &client)
    {
        client.Send(door.Get("/api/open"));
        return client.Receive().status;
    };
    BareHttp first(door.Port());
    BareHttp second(door.Port());
    BareHttp stream(door.Port());
    EXPECT_EQ(ask(first), 200);
    EXPECT_EQ(ask(second), 200);
    EXPECT_EQ(ask(first), 200);
    stream.Send(door.Get("/api/events", RunningDoor::Bearer()));
    stream.ReceiveUntil("event: master");
    BareHttp fourth(door.Port());
    EXPECT_EQ(ask(fourth), 200);
    EXPECT_TRUE(second.IsClosed(k_long));
    EXPECT_EQ(ask(first), 200);

    // Of those that do something none is sent away.
    for (BareHttp *client : {&first, &fourth})
        client->Send(door.Get("/api/later", RunningDoor::Bearer()));
    while (door.On([&] { return kept.size(); }) < 2)
        std::this_thread::yield();
    EXPECT_EQ(AskBare(door.Port(), door.Get("/api/open")).status, 429);
    door.On([&] { kept.clear(); });
}

// All of one machine, or behind one gateway, come from one address.
TEST(DoorLimits, LetAGoodRequestThroughWhileManyDribble)
{
    const std::string wholeHead =
        "POST /api/session HTTP/1.1\r\n{host}{own}Content-Type: application/json\r\n"
        "Content-Length: 70\r\n\r\n{";
    const struct
    {
        const char *what;
        std::string said;
    } cases[] = {
        {"say nothing", ""},
        {"say half a header", "GET /api/open HTTP/1.1\r\nX"},
        {"say half a body", wholeHead},
    };
    ostrel::RaiseDescriptorLimit();
    for (const auto &[what, said] : cases)
    {
        RunningDoor door;
        BareHttp before(door.Port());
        before.Send(door.Get("/api/open"));
        EXPECT_EQ(before.Receive().status, 200) << what;
        std::vector<std::unique_ptr<BareHttp>> clients;
        for (std::size_t i = 0; i < web::ServerLimits().connectionsOfPeer; ++i)
        {
            clients.push_back(std::make_unique<BareHttp>(door.Port()));
            clients.back()->Send(door.Filled(said));
        }
        EXPECT_EQ(AskBare(door.Port(), door.Get("/api/open")).status, 200) << what;
        EXPECT_EQ(AskBare(door.Port(), door.Get("/api/things/a", RunningDoor::Bearer())).status,
                  200)
            << what;
        // The ones that have waited longest were given up for it.
        EXPECT_TRUE(clients.front()->IsClosed(k_long)) << what;
        EXPECT_FALSE(clients.back()->IsClosed(k_short)) << what;
    }
}

TEST(DoorLimits, GiveUpNoneThatIsServed)
{
    web::ServerSettings settings = RunningDoor::PersonalSettings();
    settings.limits.connectionsOfPeer = 2;
    RunningDoor door(settings);
    BareHttp stream(door.Port());
    stream.Send(door.Get("/api/events", RunningDoor::Bearer()));
    stream.ReceiveUntil("event: master");
    BareHttp body(door.Port());
    body.Send(door.Filled("POST /api/things/a HTTP/1.1\r\n{host}{bearer}Content-Type: "
                          "application/json\r\nContent-Length: 2\r\nExpect: 100-continue\r\n\r\n"));
    body.ReceiveUntil("100 Continue");
    EXPECT_EQ(AskBare(door.Port(), door.Get("/api/open")).status, 429);
    body.Send("{}");
    EXPECT_TRUE(body.ReceiveUntil("a||{}").ends_with("\r\n\r\na||{}"));
    EXPECT_FALSE(stream.IsClosed(k_short));
}

TEST(DoorLimits, HoldForStreams)
{
    web::ServerSettings settings = RunningDoor::PersonalSettings();
    settings.limits.streams = 3;
    settings.limits.streamsOfSession = 2;
    RunningDoor door(settings);
    const std::string one = door.OpenSession();
    const std::string other = door.OpenSession();
    std::vector<std::unique_ptr<BareHttp>> clients;
    const auto follow = [&](const std::string &session)
    {
        clients.push_back(std::make_unique<BareHttp>(door.Port()));
        clients.back()->Send(door.Get("/api/events", session));
        return clients.back()->Receive().status;
    };
    EXPECT_EQ(follow(one), 200);
    EXPECT_EQ(follow(one), 200);
    EXPECT_EQ(follow(one), 429);
    EXPECT_EQ(follow(other), 200);
    EXPECT_EQ(follow(other), 429);
    EXPECT_EQ(door.OpenStreams(), 3);
    clients.clear();
    while (door.OpenStreams() > 0)
        std::this_thread::yield();
    EXPECT_EQ(follow(one), 200);
}

} // namespace
