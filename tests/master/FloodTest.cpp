// Who connects and means no good, or nothing at all, keeps nobody else out.
#include <sys/resource.h>

#include <gtest/gtest.h>

#include "corvan/Protocol.h"
#include "master/door/ServerSettings.h"
#include "ostrel/File.h"
#include "tests/master/BareSocket.h"
#include "tests/master/MasterProgram.h"
#include "tests/master/TcpMaster.h"
#include "tests/support/LogCapture.h"

using master::Role;
using ostrel::UID;
using namespace std::chrono_literals;

namespace
{

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

    BareSockets silent;
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
    BareSockets silent;
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
    BareSockets talkers;
    for (int i = 0; i < 3; ++i)
    {
        talkers.push_back(ConnectToPort(farm.Port()));
        Say(talkers.back(), "\x16");
    }
    for (const auto &talker : talkers)
        EXPECT_FALSE(IsClosed(talker, 50ms));
    const auto fourth = ConnectToPort(farm.Port());
    Say(fourth, "\x16");
    EXPECT_TRUE(IsClosed(fourth, 10s));

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
    Say(brokenOff, "\x16\x03\x01");
    EXPECT_TRUE(IsClosed(silent, 10s));
    EXPECT_TRUE(IsClosed(brokenOff, 10s));
}

TEST(Flood, OnTheSocketFileAConnectionThatBreaksOffIsOneWithoutACall)
{
    const TempFolder folder;
    const TestJobTypes types;
    master::MasterSettings settings = SettingsIn(folder.Folder());
    settings.server.connections.closeIdleAfter = 300ms;
    const RunningMaster running(settings, 1);
    ASSERT_EQ(running.Error(), "");
    const auto brokenOff = ConnectToFile(settings.server.address.socketFile);
    Say(brokenOff, "PRI * HT");
    EXPECT_TRUE(IsClosed(brokenOff, 10s));
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

// "2,048"
std::string Grouped(std::size_t number)
{
    std::string text = std::to_string(number);
    if (text.size() > 3)
        text.insert(text.size() - 3, ",");
    return text;
}

TEST(Flood, IsMetByTheFiguresOfThePage)
{
    const master::ServerSettings settings;
    const master::ConnectionLimits &limits = settings.connections;
    const auto seconds = [](std::chrono::milliseconds time)
    { return std::to_string(std::chrono::duration_cast<std::chrono::seconds>(time).count()); };
    const std::string rows[] = {
        "| connections that say nothing | closed after " + seconds(limits.speakWithin) +
            " s; of more than " + Grouped(limits.mostSilent) + " (" +
            Grouped(limits.mostSilentOfPeer) + " of one peer) the oldest goes |",
        "| a TLS handshake that goes no further | closed after " + seconds(limits.speakWithin) +
            " s |",
        "| many connections of one peer | " + Grouped(limits.mostOfPeer) + " at most, ",
        "| a connection without a stream | closed after " + seconds(limits.closeIdleAfter) + " s |",
        "| more clients than there is room for (" + Grouped(settings.maxClients) + ") |",
    };
    EXPECT_EQ(settings.maxClientsOfPeer, limits.mostOfPeer) << "\"and as many clients\"";
    EXPECT_EQ(settings.keptForAdmins, 8u) << "\"the last eight places\"";
    const std::string page = ostrel::File::ReadWhole(ORDWICK_SOURCE "/docs/master.md");
    for (const std::string &row : rows)
        EXPECT_NE(page.find(row), std::string::npos) << row;
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

} // namespace
