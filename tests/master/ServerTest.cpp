#include "master/door/Server.h"

#include <chrono>

#include <gtest/gtest.h>

#include "tests/master/RawClient.h"
#include "tests/master/RunningMaster.h"
#include "tests/support/TempFolder.h"

using master::Server;
using ostrel::UID;
using namespace std::chrono_literals;

namespace
{

class Waiting : public Server::User
{
public:
    void OnRequests() override
    {
        hasRequests = true;
    }
    void OnClientGone(master::ClientNumber /*client*/) override {}

    bool hasRequests = false;
};

} // namespace

TEST(Server, HandsOverFewRequestsAtOnceThatAskForMuch)
{
    const TempFolder folder;
    boost::asio::io_context loop;
    const auto work = boost::asio::make_work_guard(loop);
    Waiting user;
    Server server(loop, SettingsIn(folder.Folder()).server, UID(true), user);

    constexpr std::size_t k_clients = 7;
    std::vector<std::unique_ptr<RawClient>> clients;
    for (std::size_t i = 0; i < k_clients; ++i)
    {
        clients.push_back(std::make_unique<RawClient>(server.Address()));
        ASSERT_TRUE(clients.back()->Send(HelloEnvelope()));
        for (int each = 0; each < 3; ++each)
            ASSERT_TRUE(clients.back()->Send(GetTasksEnvelope(UID(true).ToString())));
    }

    std::size_t taken = 0;
    const auto limit = std::chrono::steady_clock::now() + 30s;
    while (taken < 3 * k_clients && std::chrono::steady_clock::now() < limit)
    {
        loop.run_one_for(20ms);
        if (!std::exchange(user.hasRequests, false))
            continue;
        const std::size_t count = server.TakeRequests().size();
        EXPECT_LE(count, Server::k_MuchPerTurn);
        taken += count;
        server.EndRequests();
    }
    EXPECT_EQ(taken, 3 * k_clients);
}
