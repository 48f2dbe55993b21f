#pragma once

#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <functional>
#include <memory>
#include <vector>

namespace web
{

/// The bytes of one connection, bare or in TLS. Loop thread; each call returns at once, and `done`
/// is called later. One reading and one writing call at a time.
class Wire
{
public:
    using Error = boost::system::error_code;
    using Done = std::function<void(const Error &, std::size_t)>;
    using Buffers = std::vector<boost::asio::const_buffer>;

    virtual ~Wire() = default;

    /// First of all: TLS greets its peer.
    virtual void Begin(Done done) = 0;
    /// Some bytes, one at least.
    virtual void Read(boost::asio::mutable_buffer room, Done done) = 0;
    /// All of them; what they are in stays there until then.
    virtual void Write(const Buffers &bytes, Done done) = 0;
    /// Says that nothing more comes, and waits until the peer has taken it and says the same. What
    /// he sends until then is dropped: to close before would take back what was written.
    virtual void Finish(Done done) = 0;
    /// At once; what is under way ends with an error.
    virtual void Close() = 0;
};

std::unique_ptr<Wire> MakeBareWire(boost::asio::ip::tcp::socket socket);
std::unique_ptr<Wire> MakeTlsWire(boost::asio::ip::tcp::socket socket,
                                  std::shared_ptr<boost::asio::ssl::context> context);

} // namespace web
