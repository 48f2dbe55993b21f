#pragma once

#include <boost/shared_ptr.hpp>
#include <cstdint>

#include "corvan/Message.h"

namespace master
{

using corvan::Message;
using ostrel::String;
using ostrel::UID;

/// Counts the clients of a run of the Master from 1, so that one that comes back is another.
using ClientNumber = std::uint64_t;

/// One message on its way out: to one client, or to all followers of a job.
struct Outgoing
{
    ClientNumber client = 0;   ///< 0 for the followers of `followersOf`.
    UID followersOf;           ///< Nil where `client` is set.
    std::uint64_t answers = 0; ///< Serial of the request; 0 for news.
    boost::shared_ptr<Message> message;
};

} // namespace master
