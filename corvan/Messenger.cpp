#include "corvan/Messenger.h"

#include <cassert>
#include <variant>

#include "corvan/ImageFormats.h"
#include "corvan/MessageQueue.h"
#include "corvan/Messages.h"
#include "ostrel/Exception.h"
#include "ostrel/Log.h"

namespace corvan
{

ostrel::Signal<const CorvanAppStartupEvt &> CorvanAppStartupEvt::s_Signal;
ostrel::Signal<const MessengerConnectedEvt &> MessengerConnectedEvt::s_Signal;
ostrel::Signal<const MessengerDisconnectedEvt &> MessengerDisconnectedEvt::s_Signal;
ostrel::Signal<const MessengerTurnedAwayEvt &> MessengerTurnedAwayEvt::s_Signal;

namespace
{

// The queue alone is shared with the link's threads; all else belongs to the main thread.
struct State
{
    UID identity;
    int kind = 0;
    MessageQueue queue;
    std::function<void()> wakeUp;
    std::unique_ptr<Link> link;
    bool isConnected = false;
    bool isCallPending = false; // A dispatch has asked for the next one, which has not come yet.
    std::uint64_t lastSerial = 0;
};

State &TheState()
{
    static State state;
    return state;
}

void Queue(LinkNews news)
{
    if (TheState().queue.Push(std::move(news)))
        TheState().wakeUp();
}

void Announce(const LinkUp & /*up*/)
{
    TheState().isConnected = true;
    MessengerConnectedEvt::s_Signal(MessengerConnectedEvt());
}

void Announce(const LinkDown &down)
{
    TheState().isConnected = false;
    ostrel::LogStatus("Connection to the Master lost: " + down.reason);
    MessengerDisconnectedEvt::s_Signal(MessengerDisconnectedEvt());
}

void Announce(const LinkTurnedAway &turnedAway)
{
    MessengerTurnedAwayEvt::s_Signal({turnedAway.reason});
}

void Announce(const boost::shared_ptr<Message> &message)
{
    if (message->Goes() == Direction::ToMaster)
    {
        ostrel::LogWarning(String("a Master does not send ") + message->TypeName() +
                           "; it is ignored");
        return;
    }
    if (const auto *refused = dynamic_cast<const RefusedMsg *>(message.get()))
        ostrel::LogWarning("the Master refused " + refused->what + ": " + refused->reason);
    message->Raise(message);
}

void AnnounceSafely(const LinkNews &news)
{
    try
    {
        std::visit([](const auto &what) { Announce(what); }, news);
    }
    catch (ostrel::Exception *raw)
    {
        const std::unique_ptr<ostrel::Exception> error(raw);
        ostrel::LogError("a message could not be handled: " + error->Text());
    }
}

/// Has the loop call again where something is still queued: `Push` wakes for an empty queue alone.
void WakeForRest()
{
    State &state = TheState();
    if (!state.link || state.isCallPending || state.queue.Count() == 0)
        return;
    state.isCallPending = true;
    state.wakeUp();
}

/// Does so when a dispatch ends, by whatever way.
struct WakeAtEnd
{
    ~WakeAtEnd()
    {
        WakeForRest();
    }
};

} // namespace

void Messenger::SetClientInfo(const UID &identity, int kind)
{
    TheState().identity = identity;
    TheState().kind = kind;
}

const UID &Messenger::ClientIdentity()
{
    return TheState().identity;
}

int Messenger::ClientKindNumber()
{
    return TheState().kind;
}

void Messenger::Start(std::unique_ptr<Link> link, std::function<void()> wakeUp)
{
    State &state = TheState();
    assert(!state.link && "the messenger is started once, until it is stopped");
    state.link = std::move(link);
    state.wakeUp = std::move(wakeUp);
    state.isCallPending = false;
    state.queue.Open();
    state.link->Start({[] { Queue(LinkUp()); },
                       [](const String &reason) { Queue(LinkDown{reason}); },
                       [](boost::shared_ptr<Message> message) { Queue(std::move(message)); },
                       [](const String &reason) { Queue(LinkTurnedAway{reason}); }});
}

void Messenger::Stop()
{
    State &state = TheState();
    state.isConnected = false;
    if (!state.link)
        return;
    // First the queue: a thread of the link may be waiting for room in it.
    state.queue.Close();
    state.link->Stop();
    state.link.reset();
    state.wakeUp = nullptr;
}

bool Messenger::IsConnected()
{
    return TheState().isConnected;
}

void Messenger::Send(const boost::shared_ptr<Message> &message)
{
    State &state = TheState();
    if (!state.link || !state.isConnected)
    {
        ostrel::LogWarning(String("not connected to the Master: ") + message->TypeName() +
                           " is not sent");
        return;
    }
    message->serial = ++state.lastSerial;
    if (auto *change = dynamic_cast<JobParameterMsg *>(message.get()))
        change->value = SharedValue(change->name, change->value);
    if (auto *changes = dynamic_cast<JobParametersMsg *>(message.get()))
        for (auto &[name, value] : changes->parameters)
            value = SharedValue(name, value);
    // The Master's log says the same of it, so that one can be followed into the other.
    if (const auto *newJob = dynamic_cast<const JobMsg *>(message.get()))
        ostrel::LogInfo("sending job " + newJob->job->ID().ToString() + " \"" +
                        newJob->job->Name() + "\"");
    state.link->Send(message);
}

void Messenger::Dispatch()
{
    State &state = TheState();
    state.isCallPending = false;
    const WakeAtEnd atEnd;
    // What comes in meanwhile waits for the next call, so that the window stays alive. A receiver
    // may run a loop of its own, which has to be woken to call this again, or stop the messenger:
    // each turn takes one from the queue and holds nothing back.
    for (std::size_t left = state.queue.Count(); left > 0; --left)
    {
        const auto news = state.queue.Take();
        if (!news)
            return;
        WakeForRest();
        AnnounceSafely(*news);
    }
}

} // namespace corvan
