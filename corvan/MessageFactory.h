#pragma once

#include <vector>

#include "corvan/Message.h"

namespace corvan
{

/// Makes messages: by the identifier of their type, or from what came over the wire. Any thread.
class MessageFactory
{
public:
    /// A new, empty message; null for an identifier that is no message type.
    static boost::shared_ptr<Message> CreateMessage(const UID &type);

    /// The identifiers of all message types.
    static std::vector<UID> Types();

    /// The message in an envelope. Null, with the reason, for an unknown or empty body, for content
    /// that cannot be, and for one that holds others: see `TakeApart`.
    static boost::shared_ptr<Message> FromEnvelope(const wire::Envelope &envelope, String *reason);

    /// The envelope of a message: serial, what it answers, and the body.
    static void ToEnvelope(const Message &message, wire::Envelope &envelope);
};

} // namespace corvan
