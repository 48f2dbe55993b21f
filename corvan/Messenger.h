#pragma once

#include <functional>
#include <memory>

#include "corvan/Link.h"
#include "ostrel/Signal.h"

namespace corvan
{

/// Raised once, when the program is up and its event loop is about to run.
struct CorvanAppStartupEvt
{
    static ostrel::Signal<const CorvanAppStartupEvt &> s_Signal;
};

/// Raised each time the connection to the Master comes up, and each time it is lost.
struct MessengerConnectedEvt
{
    static ostrel::Signal<const MessengerConnectedEvt &> s_Signal;
};
struct MessengerDisconnectedEvt
{
    static ostrel::Signal<const MessengerDisconnectedEvt &> s_Signal;
};
/// Raised for each attempt to connect that the Master refused, or whose Master is not to be
/// trusted: the reason, for people. It is tried again all the same.
struct MessengerTurnedAwayEvt
{
    String reason;
    static ostrel::Signal<const MessengerTurnedAwayEvt &> s_Signal;
};

/// The program's one connection to the Master.
///
/// The link's threads only queue. `Dispatch`, on the main thread, takes what is queued and raises
/// the signals; the wake-up function, called on any thread, asks the event loop to call it.
class Messenger
{
public:
    /// Who this client is, told to the Master at each connection. Before `Start`.
    static void SetClientInfo(const UID &identity, int kind);
    static const UID &ClientIdentity();
    static int ClientKindNumber();

    static void Start(std::unique_ptr<Link> link, std::function<void()> wakeUp);
    static void Stop();

    static bool IsConnected();

    /// Sends a message and gives it its serial. While there is no connection it is dropped with a
    /// warning. A new job is logged with its identifier and name. The image formats of a parameter
    /// message are turned into the farm's notation; a job holds its own that way. The messenger
    /// shares the message until it is written; do not change it any more.
    static void Send(const boost::shared_ptr<Message> &message);

    /// Raises the signals of all that is queued, in order. A receiver may run an event loop of its
    /// own (a box that asks): it is woken for what still waits. An `ostrel::Exception *` out of a
    /// receiver is logged and deleted here. Main thread.
    static void Dispatch();
};

} // namespace corvan
