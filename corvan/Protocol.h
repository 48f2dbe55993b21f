#pragma once

#include "ostrel/String.h"

namespace corvan
{

using ostrel::String;

/// The protocol between the Master and its clients: counted up where one side has to know what the
/// other can. Hello and Welcome tell each other's; one that tells none speaks protocol 1.
constexpr unsigned k_Protocol = 4;
/// From this one on a client takes messages that come as one: see corvan/Gathered.h.
constexpr unsigned k_GatheringProtocol = 3;
/// From this one on a client may follow all jobs, and is told who it is.
constexpr unsigned k_FollowAllProtocol = 4;
/// The oldest one that is still understood.
constexpr unsigned k_LeastProtocol = 1;

/// The number that a greeting tells, which is 0 where it tells none.
constexpr unsigned ProtocolOf(unsigned told)
{
    return told == 0 ? 1 : told;
}

/// What the older of two protocols lacks, for people: "the older one knows ... not". Empty where
/// they are the same.
String ProtocolDifference(unsigned one, unsigned other);

/// The call's metadata in which a client brings its token. Any bytes, so that any token can be.
constexpr const char *k_TokenMetadata = "corvan-token-bin";

} // namespace corvan
