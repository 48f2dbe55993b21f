#pragma once

#include <boost/shared_ptr.hpp>
#include <functional>

#include "corvan/Message.h"

namespace corvan
{

/// A way to the Master: what the messenger needs of a connection.
///
/// GrpcLink is the real one, FakeLink (tests) keeps what was sent. All functions are called on the
/// main thread; the callbacks may come on any thread, one at a time, and none comes after `Stop`
/// has returned.
class Link
{
public:
    /// Who the Master takes this client for. Empty with one that does not tell.
    struct Welcome
    {
        String user{};
        String role{}; ///< By its name: "edit-own".
    };

    struct Callbacks
    {
        std::function<void()> connected;
        /// `reason` is for the log.
        std::function<void(const String &reason)> disconnected;
        std::function<void(boost::shared_ptr<Message>)> received;
        /// There was an answer, and it is not one of a Master that takes this client: `reason`, for
        /// people, says which. It is tried again all the same. May be empty.
        std::function<void(const String &reason)> turnedAway = {};
        /// Comes right before `connected`. May be empty.
        std::function<void(const Welcome &)> welcomed = {};
    };

    virtual ~Link() = default;
    virtual void Start(Callbacks callbacks) = 0;
    /// Queues a message; dropped, with a warning, while there is no connection.
    virtual void Send(const boost::shared_ptr<Message> &message) = 0;
    /// Ends the connection and all threads of it.
    virtual void Stop() = 0;
};

} // namespace corvan
