#pragma once

#include <optional>
#include <vector>

#include "ostrel/String.h"

namespace corvan
{

using ostrel::String;

namespace wire
{
class Envelope;
}

/// Whether an envelope holds others in place of a message: those that waited for a client and came
/// as one.
bool IsGathered(const wire::Envelope &envelope);

/// The envelopes that a gathered one holds, in order; each is to be read as if it had come by
/// itself. Nothing, with the reason, where it is none that can be: more than `k_MaxGathered`, bytes
/// that are no envelope, a message or a serial beside them, or one that is gathered itself.
std::optional<std::vector<wire::Envelope>> TakeApart(const wire::Envelope &envelope,
                                                     String *reason);

} // namespace corvan
