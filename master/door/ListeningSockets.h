#pragma once

#include <vector>

#include "corvan/MasterAddress.h"

namespace master
{

using ostrel::String;

/// Sockets that listen at an address, each a descriptor of the caller's.
struct ListeningSockets
{
    std::vector<int> descriptors;
    int port = 0; ///< The one that the system chose where 0 was asked for; of TCP alone.
};

/// Listens on all addresses that the host of the address has. The socket file is the user's alone
/// until somebody opens it. Throws `ostrel::Exception *` where it cannot: one that somebody listens
/// at is not shared.
ListeningSockets ListenAt(const corvan::MasterAddress &address);

} // namespace master
