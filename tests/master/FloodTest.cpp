// Who connects and means no good, or nothing at all, keeps nobody else out.
#include <arpa/inet.h>
#include <filesystem>
#include <netinet/in.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <gtest/gtest.h>

#include "corvan/Protocol.h"
#include "master/door/Acceptor.h"
#include "ostrel/Descriptor.h"
#include "tests/master/MasterProgram.h"
#include "tests/master/TcpMaster.h"
#include "tests/support/LogCapture.h"

using master::Role;
using ostrel::Descriptor;
using ostrel::UID;
using namespace std::chrono_literals;
using Connections = std::vector<std::unique_ptr<Descriptor>>;

namespace
{

std::unique_ptr<Descriptor> ConnectToFile(const ostrel::Path &file)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    file.Text().copy(address.sun_path, sizeof(address.sun_path) - 1);
    auto socket = std::make_unique<Descriptor>(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    EXPECT_EQ(
        ::connect(socket->Number(), reinterpret_cast<const sockaddr *>(&address), sizeof address),
        0);
    return socket;
}

std::unique_ptr<Descriptor> ConnectToPort(int port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(std::uint16_t(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto socket = std::make_unique<Descriptor>(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    EXPECT_EQ(
        ::connect(socket->Number(), reinterpret_cast<const sockaddr *>(&address), sizeof address),
        0);
    return socket;
}

// Whether the other side has closed it, or does within this time.
bool IsClosed(const Descriptor &socket, std::chrono::milliseconds within)
{
    pollfd wait{.fd = socket.Number(), .events = POLLIN, .revents = 0};
    char byte = 0;
    return ::poll(&wait, 1, int(within.count())) == 1 &&
           ::recv(socket.Number(), &byte, 1, MSG_DONTWAIT) <= 0;
}

bool IsServed(RawClient &client)
{
    const auto answer = client.Ask(GetTasksEnvelope(UID(true).ToString()));
    return answer && answer->has_refused();
}

TEST(Flood, OfSilentConnectionsUsesUpNoDescriptorsAndKeepsNobodyOut)
{
    const TempFolder folder;
    MasterProgram program(folder.Folder(), {"--listen", (folder / "m.sock").Text()});
    ASSERT_TRUE(program.ReadLine().starts_with("corvan-master: listening")) << program.Errors();
    // Fewer than it had when it made up its mind how many connections there may be.
    const rlimit few{.rlim_cur = 200, .rlim_max = 200};
    ASSERT_EQ(::prlimit(program.Process(), RLIMIT_NOFILE, &few, nullptr), 0);
    RawClient before(program.Address());
    ASSERT_TRUE(before.SayHello());

    Connections silent;
    for (int i = 0; i < 1100; ++i)
        silent.push_back(ConnectToFile(folder / "m.sock"));
    EXPECT_TRUE(IsServed(before));
    RawClient amid(program.Address());
    EXPECT_TRUE(amid.SayHello()) << "while they are there";
    EXPECT_TRUE(IsServed(amid));

    silent.clear();
    RawClient after(program.Address());
    EXPECT_TRUE(after.SayHello()) << "when they are gone";
    EXPECT_TRUE(IsServed(after));
}

TEST(Flood, OfSilentConnectionsOverTlsKeepsNobodyOut)
{
    TcpMaster farm;
    farm.settings.server.connections.mostSilent = 20;
    const std::string token = farm.AddToken("anna", Role::Watch);
    farm.Start();
    Connections silent;
    for (int i = 0; i < 1100; ++i)
        silent.push_back(ConnectToPort(farm.Port()));
    const auto client = farm.Connect(token);
    EXPECT_TRUE(client->SayHello());
    EXPECT_TRUE(IsServed(*client));
}

TEST(Flood, OfConnectionsOnePeerHasAShare)
{
    TcpMaster farm;
    farm.settings.server.connections.mostOfPeer = 3;
    farm.settings.server.connections.speakWithin = 20s;
    const std::string token = farm.AddToken("anna", Role::Watch);
    farm.Start();
    Connections talkers;
    for (int i = 0; i < 3; ++i)
    {
        talkers.push_back(ConnectToPort(farm.Port()));
        ASSERT_EQ(::send(talkers.back()->Number(), "\x16", 1, 0), 1);
    }
    for (const auto &talker : talkers)
        EXPECT_FALSE(IsClosed(*talker, 50ms));
    const auto fourth = ConnectToPort(farm.Port());
    ASSERT_EQ(::send(fourth->Number(), "\x16", 1, 0), 1);
    EXPECT_TRUE(IsClosed(*fourth, 10s));

    talkers.clear();
    const auto client = farm.Connect(token);
    EXPECT_TRUE(client->SayHello());
}

TEST(Flood, ASilentConnectionIsClosedInTimeAndSoIsOneThatBreaksOff)
{
    TcpMaster farm;
    farm.settings.server.connections.speakWithin = 300ms;
    farm.AddToken("anna", Role::Watch);
    farm.Start();
    const auto silent = ConnectToPort(farm.Port());
    const auto brokenOff = ConnectToPort(farm.Port());
    ASSERT_EQ(::send(brokenOff->Number(), "\x16\x03\x01", 3, 0), 3);
    EXPECT_TRUE(IsClosed(*silent, 10s));
    EXPECT_TRUE(IsClosed(*brokenOff, 10s));
}

TEST(Flood, AConnectionWithoutACallIsClosed)
{
    TcpMaster farm;
    farm.settings.server.connections.closeIdleAfter = 200ms;
    farm.AddToken("anna", Role::Watch);
    farm.Start();
    grpc::ChannelArguments arguments;
    arguments.SetInt(GRPC_ARG_USE_LOCAL_SUBCHANNEL_POOL, 1);
    const auto channel =
        grpc::CreateCustomChannel(farm.Running().Address(), farm.Credentials(), arguments);
    const auto limit = std::chrono::system_clock::now() + 20s;
    ASSERT_TRUE(channel->WaitForConnected(limit));
    EXPECT_TRUE(channel->WaitForStateChange(GRPC_CHANNEL_READY, limit));
}

TEST(Flood, TheMasterTakesAllDescriptorsThatItMayHave)
{
    const TempFolder folder;
    rlimit before{};
    ::getrlimit(RLIMIT_NOFILE, &before);
    rlimit low = before;
    low.rlim_cur = std::min<rlim_t>(before.rlim_max, 1000);
    ::setrlimit(RLIMIT_NOFILE, &low);
    MasterProgram program(folder.Folder(), {"--listen", (folder / "m.sock").Text()});
    ::setrlimit(RLIMIT_NOFILE, &before);
    ASSERT_TRUE(program.ReadLine().starts_with("corvan-master: listening")) << program.Errors();
    rlimit found{};
    ASSERT_EQ(::prlimit(program.Process(), RLIMIT_NOFILE, nullptr, &found), 0);
    EXPECT_EQ(found.rlim_cur, found.rlim_max);
}

TEST(Flood, ConnectionsHaveFiveSecondsToSpeak)
{
    EXPECT_EQ(master::ConnectionLimits().speakWithin, 5s);
}

// One connection, and as many calls on it as it likes, none of which proves anything.
TEST(Flood, OfStreamsWithoutATokenHoldsNoPlaceOfAClient)
{
    TcpMaster farm;
    farm.settings.server.maxClients = 4;
    farm.settings.server.keptForAdmins = 0;
    const std::string token = farm.AddToken("anna", Role::Watch);
    farm.Start();

    grpc::ChannelArguments arguments;
    arguments.SetInt(GRPC_ARG_USE_LOCAL_SUBCHANNEL_POOL, 1);
    const auto channel =
        grpc::CreateCustomChannel(farm.Running().Address(), farm.Credentials(), arguments);
    const auto stub = wire::Master::NewStub(channel);
    struct Call
    {
        grpc::ClientContext context;
        std::unique_ptr<grpc::ClientReaderWriter<wire::Envelope, wire::Envelope>> stream;
    };
    std::vector<std::unique_ptr<Call>> calls;
    for (int i = 0; i < 300; ++i)
    {
        calls.push_back(std::make_unique<Call>());
        calls.back()->context.set_deadline(std::chrono::system_clock::now() + 30s);
        calls.back()->context.set_wait_for_ready(true);
        calls.back()->stream = stub->Connect(&calls.back()->context);
    }

    const auto client = farm.Connect(token);
    EXPECT_TRUE(client->SayHello());
    EXPECT_TRUE(IsServed(*client));
    for (const auto &call : calls)
    {
        wire::Envelope envelope;
        EXPECT_FALSE(call->stream->Read(&envelope));
        EXPECT_EQ(call->stream->Finish().error_code(), grpc::StatusCode::UNAUTHENTICATED);
    }
}

TEST(Flood, OfWrongTokensHoldsUpNeitherTheRightOnesNorTheMaster)
{
    TcpMaster farm;
    const std::string token = farm.AddToken("anna", Role::Watch);
    farm.Start();
    std::vector<std::unique_ptr<RawClient>> wrong;
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < 3; ++i)
        wrong.push_back(farm.Connect("corvan-wrong"));
    const auto client = farm.Connect(token);
    EXPECT_TRUE(client->SayHello());
    EXPECT_TRUE(IsServed(*client));
    for (const auto &each : wrong)
        EXPECT_EQ(each->End().error_message(), "the token is not the Master's");
    // 250, 500 and 1000 ms, side by side.
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 1s);
}

// Whoever guesses beside it, however many they are.
TEST(Flood, OfDifferentWrongTokensKeepsNobodyOutAndNoneOfThemIsAnsweredAtOnce)
{
    TcpMaster farm;
    const std::string token = farm.AddToken("anna", Role::Watch);
    farm.Start();
    // Pauses that are long enough for what follows.
    for (int i = 0; i < 4; ++i)
        farm.Connect("corvan-wrong")->End();
    const auto begin = std::chrono::steady_clock::now();
    std::vector<std::unique_ptr<RawClient>> wrong;
    for (int i = 0; i < 20; ++i)
        wrong.push_back(farm.Connect("corvan-wrong" + std::to_string(i)));
    for (int i = 0; i < 10; ++i)
    {
        const auto client = farm.Connect(token);
        EXPECT_TRUE(client->SayHello()) << i;
        EXPECT_TRUE(IsServed(*client)) << i;
    }
    for (const auto &each : wrong)
        EXPECT_EQ(each->End().error_message(), "the token is not the Master's");
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 4s);
}

// A channel of gRPC keeps to what the Master sets, and has the next one wait.
TEST(Flood, OfStreamsOneConnectionHasFour)
{
    TcpMaster farm;
    const std::string token = farm.AddToken("anna", Role::Watch);
    farm.Start();
    grpc::ChannelArguments arguments;
    arguments.SetInt(GRPC_ARG_USE_LOCAL_SUBCHANNEL_POOL, 1);
    const auto channel =
        grpc::CreateCustomChannel(farm.Running().Address(), farm.Credentials(), arguments);
    const auto stub = wire::Master::NewStub(channel);
    struct Call
    {
        Call(wire::Master::Stub &service, const std::string &itsToken,
             std::chrono::milliseconds patience)
        {
            context.AddMetadata(corvan::k_TokenMetadata, itsToken);
            context.set_deadline(std::chrono::system_clock::now() + patience);
            stream = service.Connect(&context);
        }
        bool IsWelcome()
        {
            wire::Envelope envelope;
            return stream->Write(HelloEnvelope()) && stream->Read(&envelope) &&
                   envelope.has_welcome();
        }
        grpc::ClientContext context;
        std::unique_ptr<grpc::ClientReaderWriter<wire::Envelope, wire::Envelope>> stream;
    };
    std::vector<std::unique_ptr<Call>> calls;
    for (int i = 0; i < 4; ++i)
    {
        calls.push_back(std::make_unique<Call>(*stub, token, 30s));
        ASSERT_TRUE(calls.back()->IsWelcome()) << i;
    }
    Call fifth(*stub, token, 500ms);
    EXPECT_FALSE(fifth.IsWelcome());
    EXPECT_EQ(fifth.stream->Finish().error_code(), grpc::StatusCode::DEADLINE_EXCEEDED);

    calls.front()->context.TryCancel();
    calls.front()->stream->Finish();
    Call next(*stub, token, 30s);
    EXPECT_TRUE(next.IsWelcome()) << "when one of them is over";
    next.context.TryCancel();
    next.stream->Finish();
    for (std::size_t i = 1; i < calls.size(); ++i)
    {
        calls[i]->context.TryCancel();
        calls[i]->stream->Finish();
    }
}

TEST(Flood, OfProgramsWithARemovedTokenKeepsNobodyBesideThemOut)
{
    TcpMaster farm;
    const std::string token = farm.AddToken("anna", Role::Watch);
    farm.Start();
    std::vector<std::unique_ptr<RawClient>> removed;
    for (int i = 0; i < 20; ++i)
        removed.push_back(farm.Connect("corvan-removed"));
    for (int i = 0; i < 5; ++i)
        EXPECT_TRUE(farm.Connect(token)->SayHello());
    for (const auto &each : removed)
        EXPECT_EQ(each->End().error_message(), "the token is not the Master's");
}

TEST(Flood, OfClientsLeavesAPlaceForAnAdministrator)
{
    TcpMaster farm;
    farm.settings.server.maxClients = 4;
    farm.settings.server.keptForAdmins = 1;
    const std::string watch = farm.AddToken("anna", Role::Watch);
    const std::string admin = farm.AddToken("root", Role::Admin);
    farm.Start();
    std::vector<std::unique_ptr<RawClient>> clients;
    for (int i = 0; i < 3; ++i)
    {
        clients.push_back(farm.Connect(watch));
        EXPECT_TRUE(clients.back()->SayHello());
    }
    const auto fourth = farm.Connect(watch);
    EXPECT_FALSE(fourth->SayHello());
    EXPECT_EQ(fourth->End().error_message(), "the Master has too many clients");
    const auto administrator = farm.Connect(admin);
    EXPECT_TRUE(administrator->SayHello());
}

TEST(Flood, OfClientsOfOnePeerLeavesPlacesForOthers)
{
    TcpMaster farm;
    farm.settings.server.maxClientsOfPeer = 1;
    const std::string token = farm.AddToken("anna", Role::Watch);
    farm.Start();
    auto first = farm.Connect(token);
    EXPECT_TRUE(first->SayHello());
    const auto second = farm.Connect(token);
    EXPECT_FALSE(second->SayHello());
    EXPECT_EQ(second->End().error_message(), "the Master has too many clients from 127.0.0.1");
}

TEST(Acceptor, CountsWhatIsOpen)
{
    master::OpenConnections open;
    auto one = std::make_unique<Descriptor>(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const Descriptor other(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    open.Add(one->Number(), "anna");
    open.Add(other.Number(), "bert");
    EXPECT_EQ(open.Count(2), 2u);
    EXPECT_EQ(open.CountOf("anna", 9), 1u);

    // Its number goes to another socket at once.
    one.reset();
    const Descriptor next(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const auto limit = std::chrono::steady_clock::now() + 10s;
    while (open.Count(1) != 1 && std::chrono::steady_clock::now() < limit)
        ::poll(nullptr, 0, 10);
    EXPECT_EQ(open.Count(9), 1u);
    EXPECT_EQ(open.CountOf("anna", 9), 0u);
    open.Add(next.Number(), "anna");
    EXPECT_EQ(open.CountOf("anna", 9), 1u);
}

} // namespace
