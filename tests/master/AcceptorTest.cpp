#include "master/door/Acceptor.h"

#include <condition_variable>
#include <fcntl.h>
#include <mutex>
#include <optional>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <gtest/gtest.h>

#include "master/door/ListeningSockets.h"
#include "tests/master/BareSocket.h"
#include "tests/support/TempFolder.h"

using ostrel::Descriptor;
using namespace std::chrono_literals;

namespace
{

/// While this lives the program may open so many files more.
class FewDescriptors
{
public:
    explicit FewDescriptors(std::size_t free)
    {
        ::getrlimit(RLIMIT_NOFILE, &m_before);
        rlimit low = m_before;
        low.rlim_cur = 300;
        ::setrlimit(RLIMIT_NOFILE, &low);
        for (int taken = Open(); taken >= 0; taken = Open())
            m_taken.push_back(std::make_unique<Descriptor>(taken));
        EXPECT_GT(m_taken.size(), free);
        m_taken.resize(m_taken.size() - free);
    }
    ~FewDescriptors()
    {
        ::setrlimit(RLIMIT_NOFILE, &m_before);
    }
    FewDescriptors(const FewDescriptors &) = delete;
    FewDescriptors &operator=(const FewDescriptors &) = delete;

private:
    static int Open()
    {
        return ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    }

    rlimit m_before{};
    BareSockets m_taken;
};

/// The test is who takes the connections. Those that say nothing are not closed for that.
class AcceptorTest : public ::testing::Test
{
protected:
    AcceptorTest()
    {
        m_limits.speakWithin = 1h;
    }

    void ListenAtFile()
    {
        Listen({corvan::MasterAddress::Kind::Socket, "unix:" + m_file.Text(), m_file});
    }
    void ListenAtPort()
    {
        Listen({corvan::MasterAddress::Kind::Tcp, "127.0.0.1:0", {}});
    }

    BareSocket Speaker(const char *from)
    {
        BareSocket socket = ConnectToPort(m_port, from);
        Say(socket, "x");
        return socket;
    }

    // Whether so many come to be taken and not closed by the test.
    bool AreTaken(std::size_t count, std::chrono::milliseconds within = 10s)
    {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, within, [&] { return m_taken.size() == count; });
    }

    // Whether so many are taken once one after the other has connected.
    template <typename Connect> bool ComeToBeTaken(std::size_t count, Connect connect)
    {
        BareSockets tries;
        for (int i = 0; i < 500; ++i)
        {
            tries.push_back(connect());
            std::unique_lock lock(m_mutex);
            if (m_changed.wait_for(lock, 20ms, [&] { return m_taken.size() >= count; }))
                return true;
        }
        return false;
    }

    void CloseFirstTaken()
    {
        const std::lock_guard lock(m_mutex);
        m_taken.erase(m_taken.begin());
    }

    const TempFolder m_folder;
    const ostrel::Path m_file = m_folder / "m.sock";
    master::ConnectionLimits m_limits;
    int m_port = 0;

private:
    void Listen(const corvan::MasterAddress &address)
    {
        master::ListeningSockets sockets = master::ListenAt(address);
        m_port = sockets.port;
        m_acceptor.emplace(std::move(sockets.descriptors), m_limits,
                           [this](int socket)
                           {
                               const std::lock_guard lock(m_mutex);
                               m_taken.push_back(std::make_unique<Descriptor>(socket));
                               m_changed.notify_all();
                           });
    }

    std::mutex m_mutex; // Guards what the acceptor's thread hands over.
    std::condition_variable m_changed;
    BareSockets m_taken;
    std::optional<master::Acceptor> m_acceptor;
};

TEST_F(AcceptorTest, TakesNoMoreThanItMayOfAllPeersTogether)
{
    m_limits.most = 3;
    m_limits.mostOfPeer = 2;
    ListenAtPort();
    BareSockets taken;
    for (const char *from : {"127.0.0.2", "127.0.0.2", "127.0.0.3"})
        taken.push_back(Speaker(from));
    ASSERT_TRUE(AreTaken(3));
    const BareSocket fourth = Speaker("127.0.0.4");
    EXPECT_TRUE(IsClosed(fourth, 10s));
    EXPECT_TRUE(AreTaken(3));

    // What has closed is found out a moment later.
    CloseFirstTaken();
    EXPECT_TRUE(ComeToBeTaken(3, [this] { return Speaker("127.0.0.4"); }));
}

TEST_F(AcceptorTest, TakesNoMoreThanItMayOfOnePeer)
{
    m_limits.mostOfPeer = 2;
    ListenAtPort();
    BareSockets taken;
    for (int i = 0; i < 2; ++i)
        taken.push_back(Speaker("127.0.0.2"));
    ASSERT_TRUE(AreTaken(2));
    const BareSocket third = Speaker("127.0.0.2");
    EXPECT_TRUE(IsClosed(third, 10s));
    const BareSocket other = Speaker("127.0.0.3");
    EXPECT_TRUE(AreTaken(3));
}

TEST_F(AcceptorTest, TakesAllOfItsOwnUserThatItMayTakeAtAll)
{
    m_limits.most = 3;
    m_limits.mostOfPeer = 1;
    ListenAtFile();
    BareSockets own;
    for (int i = 0; i < 4; ++i)
    {
        own.push_back(ConnectToFile(m_file));
        Say(own.back(), "x");
    }
    EXPECT_TRUE(AreTaken(3));
    EXPECT_TRUE(IsClosed(own.back(), 10s));
}

TEST_F(AcceptorTest, ClosesTheOldestSilentOneOfAPeerThatHasTooMany)
{
    m_limits.mostSilentOfPeer = 3;
    ListenAtPort();
    const BareSocket other = ConnectToPort(m_port, "127.0.0.2");
    BareSockets many;
    for (int i = 0; i < 5; ++i)
        many.push_back(ConnectToPort(m_port, "127.0.0.3"));
    EXPECT_TRUE(IsClosed(many[0], 10s));
    EXPECT_TRUE(IsClosed(many[1], 10s));
    Say(other, "x");
    for (const std::size_t left : {2, 3, 4})
        Say(many[left], "x");
    EXPECT_TRUE(AreTaken(4)) << "the older one of another peer among them";
}

TEST_F(AcceptorTest, ClosesTheOldestOfTooManySilentOnes)
{
    m_limits.mostSilent = 3;
    ListenAtPort();
    BareSockets many;
    for (const char *from : {"127.0.0.2", "127.0.0.3", "127.0.0.4", "127.0.0.5"})
        many.push_back(ConnectToPort(m_port, from));
    EXPECT_TRUE(IsClosed(many[0], 10s));
    for (const std::size_t left : {1, 2, 3})
        Say(many[left], "x");
    EXPECT_TRUE(AreTaken(3));
}

TEST_F(AcceptorTest, ClosesTheOlderHalfOfTheSilentOnesWhereThereAreNoDescriptorsLeft)
{
    ListenAtFile();
    BareSockets many;
    for (int i = 0; i < 5; ++i)
        many.push_back(MakeFileSocket());
    const FewDescriptors few(4);
    for (const BareSocket &each : many)
        Connect(each, m_file);
    EXPECT_TRUE(IsClosed(many[0], 10s));
    EXPECT_TRUE(IsClosed(many[1], 10s));
    for (const std::size_t left : {2, 3, 4})
        Say(many[left], "x");
    EXPECT_TRUE(AreTaken(3)) << "the one for which there was none, too";
}

TEST_F(AcceptorTest, TurnsAwayAtOnceWhereThereIsNoDescriptorAndTakesTheNextOnceThereIs)
{
    ListenAtFile();
    BareSockets many;
    for (int i = 0; i < 2; ++i)
        many.push_back(MakeFileSocket());
    {
        const FewDescriptors none(0);
        for (const BareSocket &each : many)
        {
            Connect(each, m_file);
            EXPECT_TRUE(IsClosed(each, 10s));
        }
    }
    // One that comes while others are still turned away is turned away with them.
    EXPECT_TRUE(ComeToBeTaken(1,
                              [this]
                              {
                                  BareSocket next = ConnectToFile(m_file);
                                  ::send(next->Number(), "x", 1, MSG_NOSIGNAL);
                                  return next;
                              }));
}

TEST_F(AcceptorTest, ClosesInTimeWhatSaysNothing)
{
    m_limits.speakWithin = 200ms;
    ListenAtFile();
    const BareSocket silent = ConnectToFile(m_file);
    EXPECT_TRUE(IsClosed(silent, 10s));
    EXPECT_TRUE(AreTaken(0));
}

TEST(OpenConnections, AreCountedAsLongAsTheyAreOpen)
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
