#pragma once

#include <string>

#include "corvan/Job.h"
#include "master/door/Identity.h"
#include "ostrel/UID.h"

namespace master
{

using ostrel::UID;

/// One thing that somebody changed, or may not change.
struct AuditEntry
{
    String user;
    String peer;
    String what; ///< The message: "Job", "JobParameter".
    UID job;     ///< Nil where it is about none.
    String name; ///< The parameter; empty where it is about none.
    String oldValue;
    String newValue;
    String refused; ///< Why it was refused; empty for what was accepted.
};

/// An entry of this client, to be filled in.
AuditEntry EntryOf(const Identity &who, const String &what, const UID &job);

/// What the parameters of a job are called where they are one value, and that value: one a line.
constexpr const char *k_AllParameters = "Parameters";
String AllParameters(const corvan::Job &job);

/// As one line of JSON, with its end: "time" (UTC), "user", "peer", "what", "job", "name", "old",
/// "new", "refused", those that are empty left out but for the values of a change. Of a value over
/// `mostBytes` the beginning is there, and its length in "oldBytes" or "newBytes".
std::string AuditLine(const AuditEntry &entry, const std::string &time, std::size_t mostBytes);

} // namespace master
