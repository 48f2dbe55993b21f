#include "corvan/GrpcLink.h"

#include <atomic>
#include <boost/make_shared.hpp>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <grpcpp/security/server_credentials.h>
#include <mutex>
#include <thread>

#include <gtest/gtest.h>

#include "corvan/ClientKind.h"
#include "corvan/Limits.h"
#include "corvan/Messages.h"
#include "tests/support/EnvironmentGuard.h"
#include "tests/support/FakeMaster.h"
#include "tests/support/LogCapture.h"
#include "tests/support/RelaySocket.h"
#include "tests/support/TempFolder.h"
#include "tests/support/Thrown.h"

using namespace corvan;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace
{

/// What a link called back, in words, in order.
class Recorder
{
public:
    Link::Callbacks Callbacks()
    {
        return {[this] { Add("connected"); },
                [this](const String &reason)
                {
                    m_reason = reason;
                    Add("disconnected");
                },
                [this](boost::shared_ptr<Message> message) { Add(message->TypeName()); },
                [this](const String &reason) { AddTurnedAway(reason); }};
    }

    /// The words so far, waiting up to 15 s until there are `count`.
    std::vector<std::string> Words(std::size_t count)
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait_for(lock, 15s, [&] { return m_words.size() >= count; });
        return m_words;
    }

    std::string Reason() const
    {
        return m_reason;
    }

    /// Why it was turned away, each time, waiting up to 15 s until there are `count`.
    std::vector<std::string> TurnedAway(std::size_t count)
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait_for(lock, 15s, [&] { return m_turnedAway.size() >= count; });
        return m_turnedAway;
    }

private:
    void Add(const std::string &word)
    {
        const std::lock_guard lock(m_mutex);
        m_words.push_back(word);
        m_changed.notify_all();
    }

    void AddTurnedAway(const String &reason)
    {
        const std::lock_guard lock(m_mutex);
        m_turnedAway.push_back(reason);
        m_changed.notify_all();
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<std::string> m_words;
    std::vector<std::string> m_turnedAway;
    String m_reason; // Read once its word is there.
};

using Words = std::vector<std::string>;

class GrpcLinkTest : public testing::Test
{
protected:
    GrpcLink::Settings Settings()
    {
        GrpcLink::Settings settings;
        settings.address = *MasterAddress::Parse((m_folder / "master.sock").Text(), nullptr);
        settings.identity = {UID(true), k_ClientWatcher, "Test", "0.1"};
        settings.timing.firstPause = 20ms;
        settings.timing.longestPause = 200ms;
        settings.timing.settled = 50ms;
        return settings;
    }

    String Target()
    {
        return Settings().address.Target();
    }

    static boost::shared_ptr<FollowJobMsg> MakeFollow(const UID &job)
    {
        auto message = boost::make_shared<FollowJobMsg>();
        message->jobs.push_back(job);
        message->serial = 7;
        return message;
    }

    static wire::Envelope MakeParameter(const String &name, const String &value)
    {
        wire::Envelope envelope;
        envelope.mutable_job_parameter()->set_job(FakeMaster::k_Id);
        envelope.mutable_job_parameter()->set_name(name);
        envelope.mutable_job_parameter()->set_value(value);
        return envelope;
    }

    TempFolder m_folder;
    Recorder m_recorder;
};

} // namespace

TEST_F(GrpcLinkTest, GreetsTheMasterAndIsConnectedOnceItIsGreetedBack)
{
    FakeMaster master(Target());
    const auto settings = Settings();
    GrpcLink link(settings);
    link.Start(m_recorder.Callbacks());

    EXPECT_EQ(m_recorder.Words(1), Words{"connected"});
    const auto hello = master.Received(1).at(0).hello();
    EXPECT_EQ(hello.client(), settings.identity.id.ToString());
    EXPECT_EQ(hello.kind(), 3);
    EXPECT_EQ(hello.program(), "Test");
    EXPECT_EQ(hello.version(), "0.1");
    link.Stop();
    EXPECT_EQ(m_recorder.Words(1), Words{"connected"});
}

TEST_F(GrpcLinkTest, CarriesMessagesBothWaysInOrder)
{
    FakeMaster master(Target());
    GrpcLink link(Settings());
    link.Start(m_recorder.Callbacks());
    m_recorder.Words(1);

    const UID job(true);
    for (int i = 0; i < 100; ++i)
        link.Send(MakeFollow(job));
    const auto received = master.Received(101);
    ASSERT_EQ(received.size(), 101u);
    EXPECT_EQ(received[100].follow_job().jobs(0), job.ToString());
    EXPECT_EQ(received[100].serial(), 7u);

    wire::Envelope accepted;
    accepted.mutable_accepted();
    for (int i = 0; i < 50; ++i)
    {
        master.Send(MakeParameter("Note", std::to_string(i)));
        master.Send(accepted);
    }
    Words expected{"connected"};
    for (int i = 0; i < 50; ++i)
        expected.insert(expected.end(), {"JobParameter", "Accepted"});
    EXPECT_EQ(m_recorder.Words(101), expected);
}

TEST_F(GrpcLinkTest, ReachesASocketFileWithAnyNameWhateverProxyIsSet)
{
    const EnvironmentGuard http("http_proxy", "http://127.0.0.1:1");
    const EnvironmentGuard grpc("grpc_proxy", "http://127.0.0.1:1");
    auto settings = Settings();
    settings.address =
        *MasterAddress::Parse("unix:" + (m_folder / "ein Meister %41 #?&ü.sock").Text(), nullptr);
    FakeMaster master(settings.address.Target());
    EXPECT_NE(m_folder.Listing().find("ein Meister %41 #?&ü.sock"), std::string::npos);
    GrpcLink link(settings);
    link.Start(m_recorder.Callbacks());
    EXPECT_EQ(m_recorder.Words(1), Words{"connected"});
}

TEST_F(GrpcLinkTest, ComesBackAfterTheMasterWasKilled)
{
    auto master = std::make_unique<FakeMaster>(Target());
    GrpcLink link(Settings());
    link.Start(m_recorder.Callbacks());
    m_recorder.Words(1);
    master.reset();
    EXPECT_EQ(m_recorder.Words(2), (Words{"connected", "disconnected"}));

    master = std::make_unique<FakeMaster>(Target());
    EXPECT_EQ(m_recorder.Words(3), (Words{"connected", "disconnected", "connected"}));
    link.Send(MakeFollow(UID(true)));
    EXPECT_TRUE(master->Received(2).at(1).has_follow_job());
}

TEST_F(GrpcLinkTest, FindsAPeerThatFellSilent)
{
    FakeMaster master(Target());
    auto settings = Settings();
    settings.timing.keepalive = 1000ms;
    settings.timing.keepaliveTimeout = 500ms;
    settings.timing.longestPause = 60s;
    settings.timing.firstPause = 60s;
    settings.address = *MasterAddress::Parse((m_folder / "relay.sock").Text(), nullptr);
    RelaySocket relay((m_folder / "relay.sock").Text(), (m_folder / "master.sock").Text());
    GrpcLink link(settings);
    link.Start(m_recorder.Callbacks());
    ASSERT_EQ(m_recorder.Words(1), Words{"connected"});

    relay.Freeze();
    const auto begin = Clock::now();
    EXPECT_EQ(m_recorder.Words(2), (Words{"connected", "disconnected"}));
    EXPECT_LT(Clock::now() - begin, 8s);
}

TEST_F(GrpcLinkTest, FindsADeadPeerWithinTwentySecondsByDefault)
{
    const LinkTiming timing;
    EXPECT_LE(timing.keepalive + timing.keepaliveTimeout, 20s);
}

TEST_F(GrpcLinkTest, GivesUpOnAListenerThatNeverSpeaks)
{
    MuteSocket mute((m_folder / "master.sock").Text());
    LogCapture log;
    auto settings = Settings();
    settings.timing.greeting = 100ms;
    {
        GrpcLink link(settings);
        link.Start(m_recorder.Callbacks());
        const auto until = Clock::now() + 10s;
        while (log.Count(ostrel::k_LogInfo, "no answer within 100 ms") < 1 && Clock::now() < until)
            std::this_thread::yield();
    }
    EXPECT_EQ(log.Count(ostrel::k_LogWarning, "no answer within 100 ms"), 1);
    EXPECT_EQ(m_recorder.Words(0), Words{});
}

TEST_F(GrpcLinkTest, GivesUpOnAMasterThatDoesNotGreetBack)
{
    FakeMaster master(Target(), FakeMaster::Greeting::Silence);
    auto settings = Settings();
    settings.timing.greeting = 100ms;
    LogCapture log;
    GrpcLink link(settings);
    link.Start(m_recorder.Callbacks());
    // Each attempt greets anew.
    EXPECT_GE(master.Received(3).size(), 3u);
    link.Stop();
    EXPECT_EQ(log.Count(ostrel::k_LogWarning, "no answer within 100 ms"), 1);
    EXPECT_EQ(m_recorder.Words(0), Words{});
}

TEST_F(GrpcLinkTest, SaysWhyTheMasterRefusedTheGreeting)
{
    LogCapture log;
    FakeMaster master(Target(), FakeMaster::Greeting::Refusal);
    GrpcLink link(Settings());
    link.Start(m_recorder.Callbacks());
    EXPECT_GE(master.Received(3).size(), 3u);
    link.Stop();
    EXPECT_EQ(m_recorder.Words(0), Words{});
    EXPECT_EQ(log.Count(ostrel::k_LogWarning, "wrong token"), 1);
}

TEST_F(GrpcLinkTest, LeavesAMasterThatAnswersTheGreetingWithSomethingElse)
{
    LogCapture log;
    FakeMaster master(Target(), FakeMaster::Greeting::Nonsense);
    GrpcLink link(Settings());
    link.Start(m_recorder.Callbacks());
    EXPECT_GE(master.Received(2).size(), 2u);
    link.Stop();
    EXPECT_EQ(m_recorder.Words(0), Words{});
    EXPECT_EQ(log.Count(ostrel::k_LogWarning, "did not answer the greeting with its own"), 1);
}

TEST_F(GrpcLinkTest, RefusesAMessageThatCannotBeAndStaysConnected)
{
    LogCapture log;
    FakeMaster master(Target());
    GrpcLink link(Settings());
    link.Start(m_recorder.Callbacks());
    m_recorder.Words(1);

    master.Send(MakeParameter("PacketSize", "0"));
    master.Send(wire::Envelope());
    master.SendBytes("\xfa\x3f\x03"
                     "abc"); // A field that nobody knows.
    master.Send(MakeParameter("PacketSize", "1"));
    EXPECT_EQ(m_recorder.Words(2), (Words{"connected", "JobParameter"}));
    EXPECT_EQ(log.Count(ostrel::k_LogError,
                        "JobParameter: PacketSize: \"0\" is not a whole number from 1"),
              1);
    EXPECT_EQ(log.Count(ostrel::k_LogError, "the envelope is empty"), 2);
}

TEST_F(GrpcLinkTest, LeavesAMasterThatSendsWhatIsNoEnvelopeAndComesBack)
{
    FakeMaster master(Target());
    GrpcLink link(Settings());
    link.Start(m_recorder.Callbacks());
    m_recorder.Words(1);
    master.SendBytes("\xff\xff\xff\xff no envelope");
    EXPECT_EQ(m_recorder.Words(3), (Words{"connected", "disconnected", "connected"}));
    EXPECT_EQ(m_recorder.Reason(), "the Master sent what cannot be read");
}

TEST_F(GrpcLinkTest, TakesMessagesThatComeAsOneAsIfTheyHadComeOneByOne)
{
    LogCapture log;
    FakeMaster master(Target());
    GrpcLink link(Settings());
    link.Start(m_recorder.Callbacks());
    m_recorder.Words(1);

    wire::Envelope removed;
    removed.mutable_job_removed()->set_job(FakeMaster::k_Id);
    wire::Envelope gathered;
    gathered.add_gathered(MakeParameter("Note", "1").SerializeAsString());
    gathered.add_gathered(MakeParameter("PacketSize", "0").SerializeAsString());
    gathered.add_gathered("");
    gathered.add_gathered(removed.SerializeAsString());
    master.Send(gathered);
    master.Send(MakeParameter("Note", "2"));
    EXPECT_EQ(m_recorder.Words(4),
              (Words{"connected", "JobParameter", "JobRemoved", "JobParameter"}));
    EXPECT_EQ(log.Count(ostrel::k_LogError, "JobParameter: PacketSize: \"0\" is not"), 1);
    EXPECT_EQ(log.Count(ostrel::k_LogError, "the envelope is empty"), 1);
}

TEST_F(GrpcLinkTest, LeavesAMasterWhoseMessagesCannotBeTakenApartAndComesBack)
{
    FakeMaster master(Target());
    GrpcLink link(Settings());
    link.Start(m_recorder.Callbacks());
    m_recorder.Words(1);
    wire::Envelope inner;
    inner.add_gathered(MakeParameter("Note", "1").SerializeAsString());
    wire::Envelope gathered;
    gathered.add_gathered(MakeParameter("Note", "2").SerializeAsString());
    gathered.add_gathered(inner.SerializeAsString());
    master.Send(gathered);
    EXPECT_EQ(m_recorder.Words(3), (Words{"connected", "disconnected", "connected"}));
    EXPECT_EQ(m_recorder.Reason(),
              "the Master sent what cannot be read: it holds one that holds others");
}

TEST_F(GrpcLinkTest, LeavesAMasterThatSendsTooMuchAtOnceAndComesBack)
{
    FakeMaster master(Target());
    GrpcLink link(Settings());
    link.Start(m_recorder.Callbacks());
    m_recorder.Words(1);
    master.Send(MakeParameter("Note", String(k_MaxMessageBytes + 1, 'a')));
    EXPECT_EQ(m_recorder.Words(3), (Words{"connected", "disconnected", "connected"}));
}

TEST_F(GrpcLinkTest, DoesNotSendWhatIsTooLarge)
{
    LogCapture log;
    FakeMaster master(Target());
    GrpcLink link(Settings());
    link.Start(m_recorder.Callbacks());
    m_recorder.Words(1);
    auto message = boost::make_shared<JobParameterMsg>();
    message->value = String(k_MaxMessageBytes + 1, 'a');
    link.Send(message);
    link.Send(MakeFollow(UID(true)));
    const auto received = master.Received(2);
    EXPECT_TRUE(received.at(1).has_follow_job());
    EXPECT_EQ(log.Count(ostrel::k_LogError, "JobParameter is not sent: it is larger"), 1);
}

TEST_F(GrpcLinkTest, DropsWhatIsSentWithoutAConnectionAndSaysSo)
{
    LogCapture log;
    GrpcLink link(Settings());
    link.Send(MakeFollow(UID(true)));
    link.Start(m_recorder.Callbacks());
    link.Send(MakeFollow(UID(true)));
    EXPECT_EQ(log.Count(ostrel::k_LogWarning, "FollowJob is not sent"), 2);
}

TEST_F(GrpcLinkTest, TellsThatNobodyIsThereAndConnectsWhenSomebodyComes)
{
    std::atomic<int> times = 0;
    auto settings = Settings();
    std::unique_ptr<FakeMaster> master;
    settings.nobodyThere = [&]
    {
        if (++times == 2)
            master = std::make_unique<FakeMaster>(Target());
    };
    GrpcLink link(settings);
    link.Start(m_recorder.Callbacks());
    EXPECT_EQ(m_recorder.Words(1), Words{"connected"});
    EXPECT_EQ(times, 2);
    link.Stop();
}

TEST_F(GrpcLinkTest, DoesNotSayThatNobodyIsThereWhenTheMasterRefuses)
{
    std::atomic<int> times = 0;
    auto settings = Settings();
    settings.nobodyThere = [&] { ++times; };
    FakeMaster master(Target(), FakeMaster::Greeting::Refusal);
    GrpcLink link(settings);
    link.Start(m_recorder.Callbacks());
    master.Received(3);
    link.Stop();
    EXPECT_EQ(times, 0);
}

TEST_F(GrpcLinkTest, StopsAtOnceWhateverItIsAt)
{
    for (const bool hasMute : {false, true})
    {
        auto settings = Settings();
        settings.address = *MasterAddress::Parse(
            (m_folder / (hasMute ? "mute.sock" : "nobody.sock")).Text(), nullptr);
        std::unique_ptr<MuteSocket> mute;
        if (hasMute)
            mute = std::make_unique<MuteSocket>(settings.address.socketFile.Text());
        for (int i = 0; i < 20; ++i)
        {
            GrpcLink link(settings);
            link.Start(m_recorder.Callbacks());
            // From at once to somewhere within the first attempts.
            const auto until = Clock::now() + i * 1ms;
            while (Clock::now() < until)
                std::this_thread::yield();
            const auto begin = Clock::now();
            link.Stop();
            EXPECT_LT(Clock::now() - begin, 2s);
        }
    }
    FakeMaster master(Target());
    for (int i = 0; i < 20; ++i)
    {
        Recorder recorder;
        GrpcLink link(Settings());
        link.Start(recorder.Callbacks());
        if (i % 2)
            recorder.Words(1);
        link.Stop();
        const auto words = recorder.Words(0);
        master.Send(MakeParameter("Note", "late"));
        EXPECT_EQ(recorder.Words(0), words);
    }
}

// Longer than the keepalive allows for: gRPC must go on answering while nobody reads.
TEST_F(GrpcLinkTest, SlowsTheMasterDownAndStaysConnectedWhileTheProgramTakesNothing)
{
    FakeMaster master(Target());
    std::mutex mutex;
    std::condition_variable changed;
    bool isOpen = false;
    int count = 0;
    auto callbacks = m_recorder.Callbacks();
    callbacks.received = [&](const boost::shared_ptr<Message> &)
    {
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return isOpen; });
        ++count;
        changed.notify_all();
    };
    auto settings = Settings();
    settings.timing.keepalive = 1000ms;
    settings.timing.keepaliveTimeout = 500ms;
    GrpcLink link(settings);
    link.Start(callbacks);
    m_recorder.Words(1);

    const auto large = MakeParameter("Note", String(1u << 20, 'a'));
    for (int i = 0; i < 40; ++i)
        master.Send(large);
    std::unique_lock lock(mutex);
    EXPECT_FALSE(changed.wait_for(lock, 4s, [&] { return count > 0; }));
    EXPECT_GT(master.UnsentBytes(), 20u << 20);
    isOpen = true;
    changed.notify_all();
    EXPECT_TRUE(changed.wait_for(lock, 15s, [&] { return count == 40; }));
    EXPECT_EQ(m_recorder.Words(0), Words{"connected"});
}

TEST_F(GrpcLinkTest, NeedsCertificateAndTokenForTcp)
{
    auto settings = Settings();
    settings.address = *MasterAddress::Parse("localhost:1", nullptr);
    settings.security.certificate = "/c.pem";
    EXPECT_NE(Thrown([&] { GrpcLink link(settings); }).find("TCP needs a certificate and a token"),
              std::string::npos);
    settings.security = {{}, {}, "secret"};
    EXPECT_NE(Thrown([&] { GrpcLink link(settings); }).find("TCP needs a certificate and a token"),
              std::string::npos);
}

TEST_F(GrpcLinkTest, SaysThatTheCertificateCannotBeReadAndGoesOnTrying)
{
    LogCapture log;
    auto settings = Settings();
    settings.address = *MasterAddress::Parse("localhost:1", nullptr);
    settings.security = {m_folder / "none.pem", {}, "secret"};
    GrpcLink link(settings);
    link.Start(m_recorder.Callbacks());
    const auto until = Clock::now() + 10s;
    while (log.Count(ostrel::k_LogInfo, "none.pem") < 1 && Clock::now() < until)
        std::this_thread::yield();
    EXPECT_EQ(log.Count(ostrel::k_LogWarning, "none.pem"), 1);
}

namespace
{

/// A certificate for localhost that vouches for itself, and its key.
class SelfSigned
{
public:
    SelfSigned(const TempFolder &folder, const String &name, const String &host = "localhost")
        : certificate(folder / (name + ".pem")), m_key(folder / (name + ".key"))
    {
        const std::string command =
            "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 2 "
            "-subj /CN=" +
            host + " -addext subjectAltName=DNS:" + host + " -keyout '" + m_key.Text() +
            "' -out '" + certificate.Text() + "' 2>/dev/null";
        EXPECT_EQ(std::system(command.c_str()), 0);
    }

    std::shared_ptr<grpc::ServerCredentials> Credentials() const
    {
        grpc::SslServerCredentialsOptions options;
        options.pem_key_cert_pairs.push_back({ContentOf(m_key), ContentOf(certificate)});
        return grpc::SslServerCredentials(options);
    }

    const ostrel::Path certificate;

private:
    const ostrel::Path m_key;
};

} // namespace

TEST_F(GrpcLinkTest, ConnectsOverTcpToTheMasterOfTheCertificateAndSendsItTheToken)
{
    const SelfSigned own(m_folder, "own");
    FakeMaster master("localhost:0", FakeMaster::Greeting::Welcome, own.Credentials());
    auto settings = Settings();
    settings.address = *MasterAddress::Parse("localhost:" + std::to_string(master.Port()), nullptr);
    settings.security.certificate = own.certificate;
    settings.security.token = "secret";
    GrpcLink link(settings);
    link.Start(m_recorder.Callbacks());
    EXPECT_EQ(m_recorder.Words(1), Words{"connected"});
    EXPECT_EQ(master.Received(1).at(0).hello().token(), "secret");
    EXPECT_EQ(master.Tokens(), Words{"secret"}) << "with the call";
}

TEST_F(GrpcLinkTest, BringsNoTokenToASocketFile)
{
    FakeMaster master(Target());
    auto settings = Settings();
    settings.security.token = "secret";
    GrpcLink link(settings);
    link.Start(m_recorder.Callbacks());
    EXPECT_EQ(m_recorder.Words(1), Words{"connected"});
    EXPECT_EQ(master.Tokens(), Words{""});
}

TEST_F(GrpcLinkTest, TellsItsProtocolAndWhatAMasterOfAnotherLacksOrBrings)
{
    const struct
    {
        unsigned told;
        const char *says;
    } cases[] = {
        {k_Protocol, nullptr},
        {0, "speaks protocol 1, this program 4; protocol 1 lacks: users and rights"},
        {2, "speaks protocol 2, this program 4; protocol 2 lacks: messages that come as one"},
        {3, "speaks protocol 3, this program 4; protocol 3 lacks: the following of all jobs"},
        {k_Protocol + 1, "what protocol 5 brought is not known here"},
    };
    for (const auto &[told, says] : cases)
    {
        FakeMaster master(Target());
        master.SetProtocol(told);
        const LogCapture log;
        Recorder recorder;
        GrpcLink link(Settings());
        link.Start(recorder.Callbacks());
        EXPECT_EQ(recorder.Words(1), Words{"connected"});
        EXPECT_EQ(master.Received(1).at(0).hello().protocol(), k_Protocol);
        EXPECT_EQ(log.Count(ostrel::k_LogWarning, "speaks protocol"), says ? 1 : 0);
        EXPECT_EQ(log.Count(ostrel::k_LogWarning, says ? says : "speaks protocol"), says ? 1 : 0);
    }
}

TEST_F(GrpcLinkTest, LeavesAMasterWhoseProtocolIsTooOldAndSaysSo)
{
    FakeMaster master(Target());
    master.SetProtocol(0);
    auto settings = Settings();
    settings.leastProtocol = 2;
    GrpcLink link(settings);
    link.Start(m_recorder.Callbacks());
    EXPECT_EQ(m_recorder.TurnedAway(1).at(0),
              "the Master at " + settings.address.text +
                  ", version 1.2.3, speaks protocol 1, and this program takes 2 and newer: "
                  "install a newer Master");
    EXPECT_EQ(m_recorder.Words(0), Words{});
}

TEST_F(GrpcLinkTest, DoesNotSendItsTokenToAMasterOfAnotherCertificate)
{
    const SelfSigned own(m_folder, "own");
    const SelfSigned other(m_folder, "other");
    FakeMaster master("localhost:0", FakeMaster::Greeting::Welcome, other.Credentials());
    FakeMaster plain("localhost:0");
    LogCapture log;
    for (const int port : {master.Port(), plain.Port()})
    {
        auto settings = Settings();
        settings.address = *MasterAddress::Parse("localhost:" + std::to_string(port), nullptr);
        settings.security.certificate = own.certificate;
        settings.security.token = "secret";
        GrpcLink link(settings);
        log.Clear();
        link.Start(m_recorder.Callbacks());
        const auto until = Clock::now() + 10s;
        while (log.Count(ostrel::k_LogWarning, "No connection to the Master") == 0 &&
               Clock::now() < until)
            std::this_thread::yield();
        EXPECT_EQ(log.Count(ostrel::k_LogWarning, "No connection to the Master"), 1);
    }
    EXPECT_TRUE(master.Received(0).empty());
    EXPECT_TRUE(plain.Received(0).empty());
    EXPECT_EQ(m_recorder.Words(0), Words{});
}

TEST_F(GrpcLinkTest, TellsWhyItIsTurnedAwayAndGoesOnTrying)
{
    const SelfSigned own(m_folder, "own");
    const SelfSigned other(m_folder, "other");
    const SelfSigned elsewhere(m_folder, "elsewhere", "farm.example");
    FakeMaster refusing("localhost:0", FakeMaster::Greeting::Refusal, own.Credentials());
    FakeMaster ofOther("localhost:0", FakeMaster::Greeting::Welcome, other.Credentials());
    FakeMaster ofElsewhere("localhost:0", FakeMaster::Greeting::Welcome, elsewhere.Credentials());
    FakeMaster plain("localhost:0");
    const struct
    {
        int port;
        ostrel::Path certificate;
        const char *reason;
    } cases[] = {
        {refusing.Port(), own.certificate, "wrong token"},
        {ofOther.Port(), own.certificate,
         "its certificate is another than the one of key Certificate, section Master"},
        {ofElsewhere.Port(), elsewhere.certificate, "its certificate is not made out to that name"},
        {plain.Port(), own.certificate, "what answers there does not speak TLS as a Master does"},
        {plain.Port(), m_folder / "none.pem", "none.pem"},
    };
    for (const auto &[port, certificate, reason] : cases)
    {
        auto settings = Settings();
        settings.address = *MasterAddress::Parse("localhost:" + std::to_string(port), nullptr);
        settings.security = {certificate, {}, "secret"};
        Recorder recorder;
        GrpcLink link(settings);
        link.Start(recorder.Callbacks());
        const auto told = recorder.TurnedAway(2);
        link.Stop();
        ASSERT_GE(told.size(), 2u) << reason;
        EXPECT_NE(told[0].find(reason), std::string::npos) << told[0];
        EXPECT_EQ(told[1], told[0]);
        EXPECT_EQ(recorder.Words(0), Words{});
    }
}

namespace
{

void WaitForLine(const LogCapture &log, ostrel::LogLevel level, const char *part)
{
    const auto until = Clock::now() + 10s;
    while (log.Count(level, part) == 0 && Clock::now() < until)
        std::this_thread::yield();
    EXPECT_GT(log.Count(level, part), 0) << part;
}

} // namespace

TEST_F(GrpcLinkTest, AMasterThatIsAwayOrSilentTurnsNobodyAway)
{
    LogCapture log;
    auto settings = Settings();
    settings.timing.greeting = 50ms;
    GrpcLink away(settings);
    away.Start(m_recorder.Callbacks());
    WaitForLine(log, ostrel::k_LogInfo, "No connection to the Master");
    away.Stop();

    FakeMaster silent(Target(), FakeMaster::Greeting::Silence);
    GrpcLink link(settings);
    log.Clear();
    link.Start(m_recorder.Callbacks());
    WaitForLine(log, ostrel::k_LogWarning, "no answer within 50 ms");
    link.Stop();
    EXPECT_TRUE(m_recorder.TurnedAway(0).empty());
}
