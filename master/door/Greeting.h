#pragma once

#include <grpcpp/support/status.h>

#include "corvan/messages.pb.h"
#include "master/door/Identity.h"
#include "ostrel/UID.h"

namespace master
{

using ostrel::String;
using ostrel::UID;

/// Why this first envelope of a client is no Hello that can be answered; OK for one that is.
/// `leastProtocol`: a client of an older one is told so.
grpc::Status CheckHello(const corvan::wire::Envelope &envelope, unsigned leastProtocol);

/// How the client of a Hello is called: "corvan 0.1.0".
String ClientName(const corvan::wire::Hello &hello);

/// What its protocol lacks or brings beside the Master's, as a sentence; empty where they are the
/// same.
String DescribeProtocol(const corvan::wire::Hello &hello);

/// The answer.
corvan::wire::Envelope MakeWelcome(const corvan::wire::Envelope &hello, const UID &masterID,
                                   const Identity &who);

} // namespace master
