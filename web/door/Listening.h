#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <cstdint>
#include <string>
#include <vector>

#include "web/door/ServerSettings.h"

namespace web
{

/// Where a server listens.
struct Listening
{
    std::vector<boost::asio::ip::tcp::acceptor> acceptors; ///< One an address of the host.
    std::uint16_t port = 0;
    /// By which browsers may name it, without port; an address of IPv6 in brackets. The first one
    /// is that of links.
    std::vector<String> names;
};

/// Throws `ostrel::Exception *` where it cannot, and for a server that would be open beyond
/// loopback without TLS, or at all addresses without a name.
Listening ListenAt(boost::asio::io_context &loop, const ServerSettings &settings);

} // namespace web
