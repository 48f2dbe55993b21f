#pragma once

#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <cstdint>

#include "ostrel/UID.h"

namespace corvan
{

using ostrel::String;
using ostrel::UID;

namespace wire
{
class Envelope;
}

/// Which way a message may go.
enum class Direction
{
    ToMaster,
    FromMaster,
    Both,
};

/// One message between a client and the Master. Made by `MessageFactory`, sent by `Messenger`.
///
/// A message that was received reached the program validated: identifiers are identifiers, names
/// and values are within their limits, a job is one that can be.
class Message
{
public:
    virtual ~Message() = default;

    /// Which message it is.
    virtual const UID &TypeID() const = 0;
    /// "JobParameter": as its field in the wire format is called.
    virtual const char *TypeName() const = 0;

    virtual Direction Goes() const = 0;

    /// Fills the body of an envelope. Bytes of a text that are no UTF-8 are replaced.
    virtual void Write(wire::Envelope &envelope) const = 0;

    /// Takes the body of an envelope that holds this type. False, with the reason, for content
    /// that cannot be; the message is then not to be used.
    virtual bool Read(const wire::Envelope &envelope, String *reason) = 0;

    /// Raises the type's signal with this message, which `self` holds. Main thread.
    virtual void Raise(const boost::shared_ptr<Message> &self) const = 0;

    /// Counts requests of this side; given by `Messenger::Send`.
    std::uint64_t serial = 0;
    /// The request that this one answers; 0 for none.
    std::uint64_t answers = 0;
    /// Bytes of the envelope it came in; 0 for one made here.
    std::size_t wireBytes = 0;
};

} // namespace corvan
