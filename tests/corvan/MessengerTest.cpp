#include "corvan/Messenger.h"

#include <atomic>
#include <boost/make_shared.hpp>
#include <thread>

#include <gtest/gtest.h>

#include "corvan/GrpcLink.h"
#include "corvan/Messages.h"
#include "corvan/Parameters.h"
#include "ostrel/Exception.h"
#include "ostrel/PathMap.h"
#include "tests/corvan/SampleType.h"
#include "tests/support/FakeLink.h"
#include "tests/support/FakeMaster.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TempFolder.h"

using namespace corvan;

namespace
{

class MessengerTest : public testing::Test
{
protected:
    void SetUp() override
    {
        Messenger::Start(std::make_unique<FakeLink>(m_link), [this] { ++m_wakes; });
        m_connections = {
            MessengerConnectedEvt::s_Signal.ConnectFunction([this](const MessengerConnectedEvt &)
                                                            { Note("connected"); }),
            MessengerDisconnectedEvt::s_Signal.ConnectFunction(
                [this](const MessengerDisconnectedEvt &) { Note("disconnected"); }),
            MessengerTurnedAwayEvt::s_Signal.ConnectFunction(
                [this](const MessengerTurnedAwayEvt &event) { Note(event.reason); }),
            JobParameterMsg::s_Signal.ConnectFunction(
                [this](const boost::shared_ptr<JobParameterMsg> &message) { Note(message->name); }),
        };
    }

    void TearDown() override
    {
        Messenger::Stop();
    }

    void Note(const std::string &word)
    {
        m_words.push_back(word);
        if (m_then)
            m_then(word);
    }

    void Receive(const String &name)
    {
        auto message = boost::make_shared<JobParameterMsg>();
        message->name = name;
        m_link.callbacks.received(message);
    }

    FakeLink::Record m_link;
    std::atomic<int> m_wakes = 0;
    int m_wakesSeen = 0;
    std::vector<std::string> m_words;
    std::function<void(const std::string &)> m_then; // Called with each word.
    std::vector<ostrel::SignalConnection> m_connections;
};

using Words = std::vector<std::string>;

} // namespace

TEST_F(MessengerTest, RaisesWhatHappenedInOrderAndOnlyWhenDispatched)
{
    m_link.callbacks.connected();
    Receive("A");
    m_link.callbacks.disconnected("gone");
    m_link.callbacks.connected();
    Receive("B");
    EXPECT_TRUE(m_words.empty());
    EXPECT_FALSE(Messenger::IsConnected());

    Messenger::Dispatch();
    EXPECT_EQ(m_words, (Words{"connected", "A", "disconnected", "connected", "B"}));
    EXPECT_TRUE(Messenger::IsConnected());
}

TEST_F(MessengerTest, TellsWhyTheMasterTurnedItAwayAndIsNotConnected)
{
    m_link.callbacks.turnedAway("wrong token");
    m_link.callbacks.turnedAway("too many clients");
    Messenger::Dispatch();
    EXPECT_EQ(m_words, (Words{"wrong token", "too many clients"}));
    EXPECT_FALSE(Messenger::IsConnected());
}

TEST_F(MessengerTest, SendsImageFormatsInTheNotationOfTheFarm)
{
    ostrel::PathMap map;
    map.Add("//server/shots", "/mnt/shots");
    ostrel::Path::SetMap(map);
    m_link.callbacks.connected();
    Messenger::Dispatch();
    for (const String &name : {p_ImageFormat, p_Note})
    {
        const auto change = boost::make_shared<JobParameterMsg>();
        change->name = name;
        change->value = "/mnt/shots/a.%d;/mnt/shots/b.%d";
        Messenger::Send(change);
    }
    const auto changes = boost::make_shared<JobParametersMsg>();
    changes->parameters = {{p_Note, "/mnt/shots"}, {p_ImageFormat, "/mnt/shots/c.%d"}};
    Messenger::Send(changes);
    ostrel::Path::SetMap({});

    ASSERT_EQ(m_link.sent.size(), 3u);
    EXPECT_EQ(changes->parameters[0].second, "/mnt/shots");
    EXPECT_EQ(changes->parameters[1].second, "//server/shots/c.%d");
    const auto value = [this](std::size_t i)
    { return boost::dynamic_pointer_cast<JobParameterMsg>(m_link.sent[i])->value; };
    EXPECT_EQ(value(0), "//server/shots/a.%d;//server/shots/b.%d");
    EXPECT_EQ(value(1), "/mnt/shots/a.%d;/mnt/shots/b.%d");
}

TEST_F(MessengerTest, IsConnectedAsTheSignalsSay)
{
    std::vector<bool> states;
    m_then = [&](const std::string &) { states.push_back(Messenger::IsConnected()); };
    m_link.callbacks.connected();
    m_link.callbacks.disconnected("gone");
    Messenger::Dispatch();
    EXPECT_EQ(states, (std::vector<bool>{true, false}));
}

TEST_F(MessengerTest, WakesTheLoopOnceForAllThatIsQueued)
{
    m_link.callbacks.connected();
    Receive("A");
    Receive("B");
    EXPECT_EQ(m_wakes, 1);
    Messenger::Dispatch();
    EXPECT_EQ(m_wakes, 2); // Once more, in case a receiver runs a loop of its own.
    Receive("C");
    EXPECT_EQ(m_wakes, 3);
    Messenger::Dispatch();
    EXPECT_EQ(m_wakes, 3); // Nothing else waited.
}

TEST_F(MessengerTest, LeavesWhatComesInMeanwhileToTheNextDispatch)
{
    m_then = [this](const std::string &word)
    {
        if (word == "A")
            Receive("B");
    };
    Receive("A");
    Messenger::Dispatch();
    EXPECT_EQ(m_words, Words{"A"});
    EXPECT_EQ(m_wakes, 3); // For A, for B, and for what a dispatch left.
    Messenger::Dispatch();
    EXPECT_EQ(m_words, (Words{"A", "B"}));
}

TEST_F(MessengerTest, KeepsTheOrderWhenAReceiverRunsALoopOfItsOwn)
{
    m_then = [](const std::string &word)
    {
        if (word == "A")
            Messenger::Dispatch();
    };
    for (const char *name : {"A", "B", "C"})
        Receive(name);
    Messenger::Dispatch();
    EXPECT_EQ(m_words, (Words{"A", "B", "C"}));
}

TEST_F(MessengerTest, WakesTheLoopThatAReceiverRuns)
{
    // As a box does that asks something: it dispatches when it is woken, and not otherwise.
    const auto loop = [this]
    {
        while (m_wakesSeen != m_wakes)
        {
            m_wakesSeen = m_wakes;
            Messenger::Dispatch();
        }
    };
    Words seenInBox;
    m_then = [&](const std::string &word)
    {
        if (word != "A")
            return;
        loop();
        seenInBox = m_words;
    };
    for (const char *name : {"A", "B", "C"})
        Receive(name);
    m_wakesSeen = m_wakes;
    Messenger::Dispatch();
    EXPECT_EQ(seenInBox, (Words{"A", "B", "C"}));
}

TEST_F(MessengerTest, RaisesNothingMoreOnceAReceiverStoppedIt)
{
    m_then = [](const std::string &) { Messenger::Stop(); };
    Receive("A");
    Receive("B");
    Messenger::Dispatch();
    EXPECT_EQ(m_words, Words{"A"});
    EXPECT_TRUE(m_link.isStopped);
    Messenger::Dispatch();
    EXPECT_EQ(m_words, Words{"A"});
}

TEST_F(MessengerTest, LogsWhatAReceiverThrowsAndGoesOn)
{
    LogCapture log;
    m_then = [](const std::string &word)
    {
        if (word == "A")
            throw new ostrel::Exception("disk full");
    };
    Receive("A");
    Receive("B");
    Messenger::Dispatch();
    EXPECT_EQ(m_words, (Words{"A", "B"}));
    EXPECT_EQ(log.Count(ostrel::k_LogError, "disk full"), 1);
}

TEST_F(MessengerTest, AsksToBeCalledAgainWhereAReceiverThrowsSomethingElse)
{
    m_then = [](const std::string &word)
    {
        if (word == "A")
            throw std::runtime_error("not ours");
    };
    Receive("A");
    Receive("B");
    EXPECT_THROW(Messenger::Dispatch(), std::runtime_error);
    EXPECT_EQ(m_wakes, 2);
    Messenger::Dispatch();
    EXPECT_EQ(m_words, (Words{"A", "B"}));
}

TEST_F(MessengerTest, SendsWithACountedSerialWhileConnected)
{
    m_link.callbacks.connected();
    Messenger::Dispatch();
    const auto first = boost::make_shared<ListJobsMsg>();
    const auto second = boost::make_shared<ListJobsMsg>();
    Messenger::Send(first);
    Messenger::Send(second);
    ASSERT_EQ(m_link.sent.size(), 2u);
    EXPECT_EQ(m_link.sent[0], first);
    EXPECT_GT(first->serial, 0u);
    EXPECT_EQ(second->serial, first->serial + 1);
}

TEST_F(MessengerTest, LogsTheIdentifierAndNameOfANewJob)
{
    const SampleTypeInFactory type;
    const auto message = boost::make_shared<JobMsg>();
    message->job = JobFactory::s_JobFactory.CreateJob(SampleType().id);
    message->job->SetID(UID(FakeMaster::k_Id, true));
    message->job->SetParameter("Name", "beauty again");
    LogCapture log;
    Messenger::Send(message);
    EXPECT_EQ(log.Count(ostrel::k_LogInfo, "sending"), 0); // It was not.

    m_link.callbacks.connected();
    Messenger::Dispatch();
    Messenger::Send(boost::make_shared<ListJobsMsg>());
    Messenger::Send(message);
    EXPECT_EQ(log.Texts(ostrel::k_LogInfo),
              Words{std::string("sending job ") + FakeMaster::k_Id + " \"beauty again\""});
}

TEST_F(MessengerTest, DropsWhatIsSentWithoutAConnectionWithAWarning)
{
    LogCapture log;
    Messenger::Send(boost::make_shared<ListJobsMsg>());
    m_link.callbacks.connected();
    m_link.callbacks.disconnected("gone");
    Messenger::Dispatch();
    Messenger::Send(boost::make_shared<ListJobsMsg>());
    Messenger::Stop();
    Messenger::Send(boost::make_shared<ListJobsMsg>());
    EXPECT_TRUE(m_link.sent.empty());
    EXPECT_EQ(log.Count(ostrel::k_LogWarning, "ListJobs is not sent"), 3);
}

TEST_F(MessengerTest, WarnsOfARefusalBeforeItIsRaised)
{
    LogCapture log;
    int warnings = 0;
    const auto connection = RefusedMsg::s_Signal.ConnectFunction(
        [&](const boost::shared_ptr<RefusedMsg> &)
        { warnings = log.Count(ostrel::k_LogWarning, "JobParameter PacketSize: below 1"); });
    auto refused = boost::make_shared<RefusedMsg>();
    refused->what = "JobParameter PacketSize";
    refused->reason = "below 1";
    m_link.callbacks.received(refused);
    Messenger::Dispatch();
    EXPECT_EQ(warnings, 1);
}

TEST_F(MessengerTest, IgnoresARequestFromTheMasterWithAWarning)
{
    LogCapture log;
    bool isRaised = false;
    const auto connection = ListJobsMsg::s_Signal.ConnectFunction(
        [&](const boost::shared_ptr<ListJobsMsg> &) { isRaised = true; });
    m_link.callbacks.received(boost::make_shared<ListJobsMsg>());
    Messenger::Dispatch();
    EXPECT_FALSE(isRaised);
    EXPECT_EQ(log.Count(ostrel::k_LogWarning, "a Master does not send ListJobs"), 1);
}

TEST_F(MessengerTest, CanBeStartedAgain)
{
    Messenger::Stop();
    FakeLink::Record second;
    Messenger::Start(std::make_unique<FakeLink>(second), [this] { ++m_wakes; });
    second.callbacks.connected();
    Messenger::Dispatch();
    EXPECT_EQ(m_words, Words{"connected"});
    Messenger::Stop();
}

TEST(Messenger, StopsWhileTheLinkWaitsForRoomInTheQueue)
{
    const TempFolder folder;
    GrpcLink::Settings settings;
    settings.address = *MasterAddress::Parse((folder / "m.sock").Text(), nullptr);
    settings.identity.id = UID(true);
    FakeMaster master(settings.address.Target());
    std::atomic<int> wakes = 0;
    Messenger::Start(std::make_unique<GrpcLink>(settings), [&] { ++wakes; });
    while (wakes == 0)
        std::this_thread::yield();

    wire::Envelope large;
    large.mutable_job_parameter()->set_job(FakeMaster::k_Id);
    large.mutable_job_parameter()->set_name("Note");
    large.mutable_job_parameter()->set_value(std::string(4u << 20, 'a'));
    for (int i = 0; i < 30; ++i)
        master.Send(large);
    // 64 MB are queued, a few more are on their way, the rest waits at the Master.
    while (master.UnsentBytes() > 60u << 20)
        std::this_thread::yield();
    Messenger::Stop();
}

TEST(Messenger, TellsWhoThisClientIs)
{
    const UID id(true);
    Messenger::SetClientInfo(id, 3);
    EXPECT_EQ(Messenger::ClientIdentity(), id);
    EXPECT_EQ(Messenger::ClientKindNumber(), 3);
}
