#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <thread>
#include <vector>

#include "master/door/OpenConnections.h"
#include "ostrel/Descriptor.h"

namespace master
{

/// How many connections there may be, and how long one may say nothing.
struct ConnectionLimits
{
    std::size_t most = 9216;       ///< That speak, together.
    std::size_t mostOfPeer = 2048; ///< That speak, of one peer; the Master's own user has no limit.
    std::size_t mostSilent = 512;  ///< Beyond these the one that has been silent longest goes.
    std::size_t mostSilentOfPeer = 128;
    /// For the first byte, and over TCP then again for TLS and the beginning of HTTP/2. On a socket
    /// file what goes no further is a connection without a call.
    std::chrono::milliseconds speakWithin{5000};
    /// A connection without a call is closed after that.
    std::chrono::milliseconds closeIdleAfter{10'000};
};

/// Takes in connections, and hands over those that have said something.
///
/// A connection that says nothing is closed after a while, and earlier where there are many of
/// them: the newest may be an honest client's. Where the system has no descriptors left, room is
/// made among the silent ones; where there are none, the connection is taken with a descriptor
/// that is kept for that, and closed. So nobody waits for an answer that never comes, and the door
/// opens again as soon as there is room.
///
/// A thread of its own does all of it.
class Acceptor
{
public:
    /// Called on the acceptor's thread with a connected socket that is then the callee's.
    using Take = std::function<void(int socket)>;

    /// The listening sockets belong to the acceptor; what comes is handed to `take` from now on.
    Acceptor(std::vector<int> listeners, const ConnectionLimits &limits, Take take);
    /// Closes the listening sockets and the silent connections. `take` is called no more.
    ~Acceptor();
    Acceptor(const Acceptor &) = delete;
    Acceptor &operator=(const Acceptor &) = delete;

private:
    using Clock = std::chrono::steady_clock;
    using Socket = boost::asio::posix::stream_descriptor;

    struct Silent
    {
        Socket socket;
        String peerKey;
        bool isOwn;
        Clock::time_point until;
    };
    using SilentOnes = std::map<std::uint64_t, Silent>; // The oldest first.

    void Run();
    void Wait(Socket &listener);
    void AcceptFrom(Socket &listener);
    void WaitAWhile(Socket &listener);
    void TryToWelcome(int number);
    void Welcome(Socket socket);
    void OnSpoken(std::uint64_t number);
    void MakeRoomForOneMore(const String &peerKey);
    bool DropOldest(const String *peerKey);
    bool MakeRoomForDescriptors(int listener);
    void WatchSilence();
    void Complain(const String &reason);

    const ConnectionLimits m_limits;
    const Take m_take;
    boost::asio::io_context m_loop;
    std::vector<std::unique_ptr<Socket>> m_listeners;
    boost::asio::steady_timer m_silenceTimer;
    SilentOnes m_silent;
    std::uint64_t m_lastNumber = 0;
    OpenConnections m_open;
    std::unique_ptr<ostrel::Descriptor> m_reserve;
    Clock::time_point m_lastComplaint{};
    std::jthread m_thread;
};

} // namespace master
