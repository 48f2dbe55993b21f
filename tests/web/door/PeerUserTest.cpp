#include "web/door/PeerUser.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/write.hpp>

#include <gtest/gtest.h>

#include "tests/web/door/AsOtherUser.h"
#include "tests/web/door/RunningDoor.h"

using boost::asio::ip::tcp;
using web::ConnectionEnds;
using web::PeerSocket;

namespace
{

class PeerUserTest : public ::testing::TestWithParam<const char *>
{
protected:
    PeerUserTest() : m_acceptor(m_loop, {boost::asio::ip::make_address(GetParam()), 0}) {}

    tcp::socket Connect()
    {
        tcp::socket client(m_loop);
        client.connect(m_acceptor.local_endpoint());
        return client;
    }
    static ConnectionEnds EndsOf(const tcp::socket &accepted)
    {
        return {accepted.remote_endpoint(), accepted.local_endpoint()};
    }

    // Both ways say the same of it.
    static std::optional<uid_t> UserOf(const ConnectionEnds &ends)
    {
        const PeerSocket read = web::ReadProcForPeer(ends);
        EXPECT_TRUE(read.isAsked);
        if (const PeerSocket asked = web::AskNetlinkForPeer(ends); asked.isAsked)
        {
            EXPECT_EQ(asked.user.has_value(), read.user.has_value());
            EXPECT_EQ(asked.user.value_or(0), read.user.value_or(0));
        }
        return read.user;
    }

    boost::asio::io_context m_loop;
    tcp::acceptor m_acceptor;
};

TEST_P(PeerUserTest, IsTheOneWhoHasConnected)
{
    tcp::socket client = Connect();
    tcp::socket accepted = m_acceptor.accept();
    EXPECT_EQ(UserOf(EndsOf(accepted)), ::geteuid());
    EXPECT_EQ(web::FindPeerUser(accepted), ::geteuid());

    // Who has nothing more to say waits for the answer.
    client.shutdown(tcp::socket::shutdown_send);
    EXPECT_EQ(web::FindPeerUser(accepted), ::geteuid());
}

TEST_P(PeerUserTest, IsAnotherOneWhereAnotherOneHasConnected)
{
    if (!MayBecomeOtherUser())
        GTEST_SKIP() << "it takes root to become another user";
    std::optional<tcp::socket> client;
    AsOtherUser([&] { client = Connect(); });
    ASSERT_TRUE(client);
    tcp::socket accepted = m_acceptor.accept();
    EXPECT_EQ(UserOf(EndsOf(accepted)), k_other_user);
    EXPECT_EQ(web::FindPeerUser(accepted), k_other_user);
}

// A socket that nobody has open is told to be root's.
TEST_P(PeerUserTest, IsNobodyOnceTheConnectionIsClosed)
{
    tcp::socket client = Connect();
    tcp::socket accepted = m_acceptor.accept();
    const ConnectionEnds ends = EndsOf(accepted);
    boost::asio::write(client, boost::asio::buffer("x", 1));
    client.close();
    EXPECT_EQ(UserOf(ends), std::nullopt);
    EXPECT_EQ(web::FindPeerUser(accepted), std::nullopt);
}

// What comes from its port then is another connection.
TEST_P(PeerUserTest, IsNobodyWhereTheConnectionWasBroken)
{
    tcp::socket client = Connect();
    const tcp::endpoint place = client.local_endpoint();
    tcp::socket accepted = m_acceptor.accept();
    const ConnectionEnds ends = EndsOf(accepted);
    client.set_option(tcp::socket::linger(true, 0));
    client.close();
    EXPECT_EQ(UserOf(ends), std::nullopt);
    EXPECT_EQ(web::FindPeerUser(accepted), std::nullopt);

    tcp::acceptor listener(m_loop, place);
    EXPECT_EQ(UserOf(ends), std::nullopt) << "somebody listens at its port";
    listener.close();
    tcp::socket next(m_loop);
    next.open(place.protocol());
    next.set_option(tcp::socket::reuse_address(true));
    next.bind(place);
    next.connect(m_acceptor.local_endpoint());
    EXPECT_EQ(UserOf(ends), ::geteuid());
    EXPECT_EQ(web::FindPeerUser(accepted), std::nullopt);
}

std::vector<const char *> OwnLoopbacks()
{
    boost::asio::io_context loop;
    tcp::acceptor acceptor(loop);
    boost::system::error_code error;
    acceptor.open(tcp::v6(), error);
    if (!error)
        acceptor.bind({boost::asio::ip::address_v6::loopback(), 0}, error);
    return error ? std::vector<const char *>{"127.0.0.1"}
                 : std::vector<const char *>{"127.0.0.1", "::1"};
}

INSTANTIATE_TEST_SUITE_P(, PeerUserTest, ::testing::ValuesIn(OwnLoopbacks()),
                         [](const auto &each)
                         { return std::string(each.param)[0] == ':' ? "IPv6" : "IPv4"; });

class StrangerTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (!MayBecomeOtherUser())
            GTEST_SKIP() << "it takes root to become another user";
    }

    static std::unique_ptr<BareHttp> ConnectAsOther(std::uint16_t port)
    {
        std::unique_ptr<BareHttp> client;
        AsOtherUser([&] { client = std::make_unique<BareHttp>(port); });
        return client;
    }
    static BareAnswer AskAsOther(std::uint16_t port, const std::string &request)
    {
        const auto client = ConnectAsOther(port);
        client->Send(request);
        return client->Receive();
    }
};

// Browsers send a cookie to every port of its host, and so to the server of another user.
TEST_F(StrangerTest, GetsNothingOfAPersonalServerWhateverHeHas)
{
    RunningDoor door;
    const std::string cookie = door.OpenSession();
    const int reached = door.Reached();
    const std::string requests[] = {
        door.Get("/api/things/a", RunningDoor::Bearer()),
        door.Get("/api/things/a", cookie),
        door.Post("/api/things/a", "{}", cookie + door.SameOrigin()),
        door.Get("/api/events", cookie),
        door.Get("/api/open"),
        door.Get("/"),
        door.Post("/api/session",
                  "{\"secret\":\"" +
                      door.On([&] { return std::string(door.Door().MakeSecret()); }) + "\"}",
                  door.SameOrigin()),
    };
    for (const std::string &request : requests)
    {
        const BareAnswer answer = AskAsOther(door.Port(), request);
        EXPECT_EQ(answer.status, 403) << request;
        EXPECT_NE(answer.body.find("another user of this machine"), std::string::npos)
            << answer.body;
    }
    EXPECT_EQ(door.Reached(), reached);
    // The secret is as good as it was, and so is the cookie.
    EXPECT_EQ(AskBare(door.Port(), requests[6]).status, 204);
    EXPECT_EQ(AskBare(door.Port(), requests[1]).status, 200);
}

TEST_F(StrangerTest, ChangesNothingByARequestThatHeDoesNotWaitFor)
{
    RunningDoor door;
    const std::string request =
        door.Post("/api/things/a", "{}", RunningDoor::Bearer() + door.SameOrigin());
    // They have all come and gone before the server looks at the first.
    door.On(
        [&]
        {
            for (int i = 0; i < 50; ++i)
                ConnectAsOther(door.Port())->Send(request);
        });
    EXPECT_EQ(AskBare(door.Port(), door.Get("/healthz")).status, 404);
    EXPECT_EQ(door.Reached(), 0);
}

TEST_F(StrangerTest, TakesNoPlacesOfThoseWhoMayComeIn)
{
    web::ServerSettings settings = RunningDoor::PersonalSettings();
    settings.limits.connections = 100;
    settings.limits.connectionsOfPeer = 3;
    RunningDoor door(settings);
    std::vector<std::unique_ptr<BareHttp>> strangers;
    for (int i = 0; i < 150; ++i)
    {
        strangers.push_back(ConnectAsOther(door.Port()));
        strangers.back()->Send("GET /api/open HTTP/1.1\r\nX");
    }
    BareHttp first(door.Port());
    BareHttp second(door.Port());
    for (BareHttp *client : {&first, &second, &first})
    {
        client->Send(door.Get("/api/open"));
        EXPECT_EQ(client->Receive().status, 200);
    }
}

TEST_F(StrangerTest, IsWelcomeAtAStudiosServer)
{
    web::ServerSettings settings;
    RunningDoor door(settings);
    EXPECT_EQ(AskAsOther(door.Port(), door.Get("/api/open")).status, 200);
    EXPECT_EQ(
        AskAsOther(door.Port(), door.Get("/api/things/a", RunningDoor::Bearer("anna's"))).status,
        200);
}

} // namespace
