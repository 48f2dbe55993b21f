#pragma once

#include <map>
#include <memory>
#include <string>

#include "ostrel/String.h"

namespace web
{

using ostrel::String;

enum class Method
{
    Get, ///< HEAD, too: its answer loses its body at the door.
    Post,
};

/// Who asks, as the door has found out. One object as long as the session lasts.
struct Caller
{
    String session; ///< Tells one session from another; never a secret.
    String token;   ///< Of the Master, that of the user; empty on a personal server.
};

/// What was asked, once the door has let it in. Names and values are decoded, and UTF-8.
struct Request
{
    Method method = Method::Get;
    std::map<std::string, std::string> places; ///< Of the route: "job" of "/api/jobs/{job}".
    std::map<std::string, std::string> query;
    std::string body; ///< Any bytes: that it is JSON is what its sender claims.
    /// As it came; the door itself answers 304 where the answer's "ETag" is in it.
    std::string ifNoneMatch;
    String peer;                          ///< The address that it came from, without its port.
    std::shared_ptr<const Caller> caller; ///< Null where the route asks for none.
};

} // namespace web
