#pragma once

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "master/door/Identity.h"
#include "master/door/Outgoing.h"

namespace master
{

/// The Master's side of all connections, as the Master sees it: what clients ask comes in, what
/// they are to be told goes out.
///
/// `Server` is the door of the program. Once it is gone nobody is called any more. Loop thread.
class Door
{
public:
    /// What it needs of whoever serves the clients. It is not called from within a function of the
    /// door but `TakeRequests`. Loop thread.
    class User
    {
    public:
        virtual ~User() = default;
        /// Requests wait to be taken.
        virtual void OnRequests() = 0;
        virtual void OnClientGone(ClientNumber client) = 0;
    };

    /// One request of a client.
    struct Request
    {
        ClientNumber client = 0;
        std::shared_ptr<const Identity> who; ///< Never null. Shared with the client's connection.
        boost::shared_ptr<Message> message;  ///< Null where it is to be refused.
        bool asksForMuch = false;
        std::uint64_t serial = 0;
        String what;   ///< The message's name.
        String reason; ///< Why it is to be refused.
    };

    virtual ~Door() = default;

    /// Requests that wait; `OnRequests` is called again where these are not all.
    virtual std::vector<Request> TakeRequests() = 0;
    /// Everything that those requests asked for was sent, and more may be taken.
    virtual void EndRequests() = 0;

    /// Those of the clients that are gone are passed over.
    virtual void Send(const Outgoing &message, std::span<const ClientNumber> to) = 0;

    /// Those that were welcomed.
    virtual std::size_t CountClients() const = 0;

    /// Where it listens; the port is the one that the system chose where port 0 was asked for.
    virtual const String &Address() const = 0;

    /// Takes a renewed certificate and changed tokens; no client is lost by it but those whose
    /// token is gone.
    virtual void Reload() = 0;
};

} // namespace master
