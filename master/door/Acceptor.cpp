#include "master/door/Acceptor.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "master/door/Peer.h"
#include "ostrel/Attempt.h"
#include "ostrel/CallEntry.h"
#include "ostrel/Log.h"

namespace master
{

using boost::system::error_code;
using ostrel::_CallEntry;
using ostrel::Descriptor;

namespace
{

constexpr int k_accepted_at_once = 64;
constexpr std::chrono::milliseconds k_pause_without_room{100};
constexpr std::chrono::seconds k_between_complaints{10};

std::unique_ptr<Descriptor> MakeReserve()
{
    return std::make_unique<Descriptor>(::open("/dev/null", O_RDONLY | O_CLOEXEC));
}

bool IsOutOfDescriptors(int error)
{
    return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

bool HasSpoken(int socket)
{
    char first = 0;
    return ::recv(socket, &first, 1, MSG_PEEK | MSG_DONTWAIT) == 1;
}

} // namespace

Acceptor::Acceptor(std::vector<int> listeners, const ConnectionLimits &limits, Take take)
    : m_limits(limits), m_take(std::move(take)), m_silenceTimer(m_loop), m_reserve(MakeReserve())
{
    _CallEntry call("Acceptor::Acceptor", __FILE__, __LINE__);

    for (const int listener : listeners)
        m_listeners.push_back(std::make_unique<Socket>(m_loop, listener));
    for (const auto &listener : m_listeners)
        Wait(*listener);
    m_thread = std::jthread([this] { Run(); });
}

Acceptor::~Acceptor()
{
    _CallEntry call("Acceptor::~Acceptor", __FILE__, __LINE__);

    m_loop.stop();
    m_thread.join();
}

void Acceptor::Run()
{
    _CallEntry call("Acceptor::Run", __FILE__, __LINE__);

    while (!m_loop.stopped())
        if (const auto reason = ostrel::Attempt([&] { m_loop.run(); }))
            ostrel::LogError(*reason);
}

void Acceptor::Wait(Socket &listener)
{
    _CallEntry call("Acceptor::Wait", __FILE__, __LINE__);

    listener.async_wait(Socket::wait_read,
                        [this, &listener](const error_code &error)
                        {
                            if (!error)
                                AcceptFrom(listener);
                        });
}

void Acceptor::AcceptFrom(Socket &listener)
{
    _CallEntry call("Acceptor::AcceptFrom", __FILE__, __LINE__);

    for (int i = 0; i < k_accepted_at_once; ++i)
    {
        const int socket =
            ::accept4(listener.native_handle(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (socket >= 0)
            TryToWelcome(socket);
        else if (IsOutOfDescriptors(errno))
        {
            if (!MakeRoomForDescriptors(listener.native_handle()))
                return WaitAWhile(listener);
        }
        else if (errno == EAGAIN)
            break;
        // What else there is concerns that one connection, which went before it was taken.
    }
    Wait(listener);
}

// The system tells again and again of a connection that cannot be taken.
void Acceptor::WaitAWhile(Socket &listener)
{
    _CallEntry call("Acceptor::WaitAWhile", __FILE__, __LINE__);

    auto pause = std::make_shared<boost::asio::steady_timer>(m_loop, k_pause_without_room);
    pause->async_wait(
        [this, &listener, pause](const error_code &error)
        {
            if (!error)
                Wait(listener);
        });
}

void Acceptor::TryToWelcome(int number)
{
    _CallEntry call("Acceptor::TryToWelcome", __FILE__, __LINE__);

    Socket socket(m_loop);
    error_code error;
    socket.assign(number, error);
    if (error)
        ::close(number);
    const auto reason = ostrel::Attempt(
        [&]
        {
            if (!error)
                Welcome(std::move(socket));
        });
    if (error || reason)
        Complain(reason.value_or(error.message()));
}

void Acceptor::Welcome(Socket socket)
{
    _CallEntry call("Acceptor::Welcome", __FILE__, __LINE__);

    const Peer peer = PeerOf(socket.native_handle());
    MakeRoomForOneMore(peer.key);
    const std::uint64_t number = ++m_lastNumber;
    const auto [silent, isNew] =
        m_silent.emplace(number, Silent{std::move(socket), peer.key, peer.IsOwn(),
                                        Clock::now() + m_limits.speakWithin});
    silent->second.socket.async_wait(Socket::wait_read,
                                     [this, number](const error_code &error)
                                     {
                                         if (!error)
                                             OnSpoken(number);
                                     });
    if (m_silent.size() == 1)
        WatchSilence();
}

void Acceptor::OnSpoken(std::uint64_t number)
{
    _CallEntry call("Acceptor::OnSpoken", __FILE__, __LINE__);

    const auto found = m_silent.find(number);
    if (found == m_silent.end())
        return;
    Silent spoken = std::move(found->second);
    m_silent.erase(found);
    if (!HasSpoken(spoken.socket.native_handle()))
        return;

    if (m_open.Count(m_limits.most) >= m_limits.most)
        return Complain("there are " + std::to_string(m_limits.most) + " already");
    if (!spoken.isOwn && m_open.CountOf(spoken.peerKey, m_limits.mostOfPeer) >= m_limits.mostOfPeer)
        return Complain(spoken.peerKey + " has " + std::to_string(m_limits.mostOfPeer) +
                        " already");
    const int socket = spoken.socket.release();
    m_open.Add(socket, spoken.peerKey);
    m_take(socket);
}

void Acceptor::MakeRoomForOneMore(const String &peerKey)
{
    _CallEntry call("Acceptor::MakeRoomForOneMore", __FILE__, __LINE__);

    const auto ofPeer = std::ranges::count_if(m_silent, [&](const SilentOnes::value_type &silent)
                                              { return silent.second.peerKey == peerKey; });
    if (std::size_t(ofPeer) >= m_limits.mostSilentOfPeer)
        DropOldest(&peerKey);
    else if (m_silent.size() >= m_limits.mostSilent)
        DropOldest(nullptr);
}

// Of this peer, or of all. False where there is none.
bool Acceptor::DropOldest(const String *peerKey)
{
    _CallEntry call("Acceptor::DropOldest", __FILE__, __LINE__);

    const auto oldest =
        std::ranges::find_if(m_silent, [&](const SilentOnes::value_type &silent)
                             { return !peerKey || silent.second.peerKey == *peerKey; });
    if (oldest == m_silent.end())
        return false;
    m_silent.erase(oldest);
    return true;
}

// True where something has become free, so that the next connection can be taken. Else those that
// wait are turned away.
bool Acceptor::MakeRoomForDescriptors(int listener)
{
    _CallEntry call("Acceptor::MakeRoomForDescriptors", __FILE__, __LINE__);

    Complain("there are no descriptors left");
    if (!m_silent.empty())
    {
        // The rest of the program needs some too.
        for (std::size_t count = (m_silent.size() + 1) / 2; count > 0; --count)
            DropOldest(nullptr);
        return true;
    }
    for (int i = 0; i < k_accepted_at_once; ++i)
    {
        m_reserve.reset();
        const Descriptor turnedAway(::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC));
        if (!turnedAway.IsOpen())
            break;
    }
    m_reserve = MakeReserve();
    return false;
}

// Closes what has been silent for too long, and looks again when the next one has.
void Acceptor::WatchSilence()
{
    _CallEntry call("Acceptor::WatchSilence", __FILE__, __LINE__);

    while (!m_silent.empty() && m_silent.begin()->second.until <= Clock::now())
        m_silent.erase(m_silent.begin());
    if (m_silent.empty())
        return;
    m_silenceTimer.expires_at(m_silent.begin()->second.until);
    m_silenceTimer.async_wait(
        [this](const error_code &error)
        {
            if (!error)
                WatchSilence();
        });
}

void Acceptor::Complain(const String &reason)
{
    _CallEntry call("Acceptor::Complain", __FILE__, __LINE__);

    const auto now = Clock::now();
    const bool isNews =
        m_lastComplaint == Clock::time_point{} || now - m_lastComplaint > k_between_complaints;
    if (isNews)
        m_lastComplaint = now;
    ostrel::Log(isNews ? ostrel::k_LogWarning : ostrel::k_LogInfo,
                "a connection is closed: " + reason);
}

} // namespace master
