#include "ostrel/Signal.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

using ostrel::Signal;
using ostrel::SignalConnection;

namespace
{

struct Receiver
{
    std::string heard;

    void Hear(const std::string &text)
    {
        heard += text + ' ';
    }
};

using TextSignal = Signal<const std::string &>;

} // namespace

TEST(Signal, ReachesReceiversInTheOrderTheyConnected)
{
    TextSignal signal;
    std::string order;
    std::vector<SignalConnection> connections;
    for (const char name : {'a', 'b', 'c'})
        connections.push_back(
            signal.ConnectFunction([&order, name](const std::string &) { order += name; }));
    signal("x");
    EXPECT_EQ(order, "abc");
}

TEST(Signal, CallsTheMethodUntilTheLastHolderLetsGo)
{
    TextSignal signal;
    Receiver receiver;
    SignalConnection connection = signal.Connect(&receiver, &Receiver::Hear);
    SignalConnection other = connection;
    signal("one");
    connection.reset();
    signal("two");
    other.reset();
    signal("three");
    EXPECT_EQ(receiver.heard, "one two ");
}

TEST(Signal, StopsByItselfWhenTheTrackedObjectIsGone)
{
    TextSignal signal;
    Receiver receiver;
    boost::shared_ptr<void> tracked = boost::make_shared<int>(1);
    const SignalConnection connection = signal.Connect(&receiver, &Receiver::Hear, &tracked);
    signal("one");
    tracked.reset();
    signal("two");
    EXPECT_EQ(receiver.heard, "one ");
}

TEST(Signal, ReceiverMayDisconnectWhileItIsCalled)
{
    TextSignal signal;
    int calls = 0;
    SignalConnection self;
    self = signal.ConnectFunction(
        [&](const std::string &)
        {
            ++calls;
            self.reset();
        });
    Receiver next;
    const SignalConnection connection = signal.Connect(&next, &Receiver::Hear);
    signal("one");
    signal("two");
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(next.heard, "one two ");
}

TEST(Signal, ReceiverThatIsDisconnectedByOneBeforeItIsNotCalled)
{
    TextSignal signal;
    SignalConnection second;
    const SignalConnection first =
        signal.ConnectFunction([&](const std::string &) { second.reset(); });
    Receiver receiver;
    second = signal.Connect(&receiver, &Receiver::Hear);
    signal("one");
    EXPECT_EQ(receiver.heard, "");
}

TEST(Signal, ReceiverThatConnectsWhileTheSignalIsRaisedHearsTheNextOne)
{
    TextSignal signal;
    Receiver late;
    SignalConnection lateConnection;
    const SignalConnection first = signal.ConnectFunction(
        [&](const std::string &)
        {
            if (!lateConnection)
                lateConnection = signal.Connect(&late, &Receiver::Hear);
        });
    signal("one");
    signal("two");
    EXPECT_EQ(late.heard, "two ");
}

TEST(Signal, MayBeRaisedByItsOwnReceiver)
{
    Signal<int> signal;
    std::string heard;
    const SignalConnection connection = signal.ConnectFunction(
        [&](int depth)
        {
            heard += std::to_string(depth);
            if (depth < 3)
                signal(depth + 1);
        });
    signal(1);
    EXPECT_EQ(heard, "123");
}

TEST(Signal, ConnectionMayOutliveTheSignal)
{
    SignalConnection connection;
    {
        TextSignal signal;
        connection = signal.ConnectFunction([](const std::string &) {});
    }
    EXPECT_FALSE(connection->connected());
    connection.reset();
}

TEST(Signal, LetsTheExceptionOfAReceiverThrough)
{
    TextSignal signal;
    const SignalConnection connection =
        signal.ConnectFunction([](const std::string &) { throw 7; });
    EXPECT_THROW(signal("one"), int);
}
