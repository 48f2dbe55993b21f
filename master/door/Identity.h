#pragma once

#include <optional>

#include "ostrel/String.h"

namespace master
{

using ostrel::String;

/// What a user may do; each role may do what those before it may.
enum class Role
{
    Watch,   ///< Follow jobs, list them, read their tasks and logs.
    Submit,  ///< Hand in jobs.
    EditOwn, ///< Change the jobs that are the user's own.
    EditAll, ///< Change all jobs.
    Admin,   ///< Drain machines; comes in where the Master has no room for others.
};

/// "watch", "submit", "edit-own", "edit-all", "admin".
const char *RoleName(Role role);
/// Nothing for a text that is no role's name.
std::optional<Role> ParseRole(const String &name);
/// All names, for people: "watch, submit, edit-own, edit-all or admin".
String RoleNames();

/// A client that has proved who it is.
struct Identity
{
    String user;
    Role role = Role::Watch;
    String peer;               ///< Where it calls from, for people: "192.0.2.7", "this machine".
    String token;              ///< Identifier of the token that it showed; empty on a socket file.
    String peerKey;            ///< What the limits count by.
    bool isMastersOwn = false; ///< The user that the Master runs as: no limit for a peer.
};

} // namespace master
