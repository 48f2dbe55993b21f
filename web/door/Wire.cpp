#include "web/door/Wire.h"

#include <boost/asio/post.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/asio/write.hpp>

namespace web
{

using boost::asio::ip::tcp;

namespace
{

// Asio goes to the system for each 64 KB where nobody says how much may go at once.
std::size_t AllAtOnce(const Wire::Error &error, std::size_t /*written*/)
{
    return error ? 0 : std::size_t(1) << 30;
}

using DropRoom = std::array<char, 4096>;

// Takes what still comes until the peer ends it. Both are those of a wire, which whoever gave
// `done` keeps alive with it.
void DropAll(tcp::socket &socket, DropRoom &room, Wire::Done done)
{
    socket.async_read_some(
        boost::asio::buffer(room),
        [&socket, &room, done = std::move(done)](const Wire::Error &error, std::size_t)
        {
            if (error)
                done(error, 0);
            else
                DropAll(socket, room, done);
        });
}

class BareWire : public Wire
{
public:
    explicit BareWire(tcp::socket socket) : m_socket(std::move(socket)) {}

    void Begin(Done done) override
    {
        boost::asio::post(m_socket.get_executor(), [done = std::move(done)] { done(Error(), 0); });
    }
    void Read(boost::asio::mutable_buffer room, Done done) override
    {
        m_socket.async_read_some(room, std::move(done));
    }
    void Write(const Buffers &bytes, Done done) override
    {
        boost::asio::async_write(m_socket, bytes, &AllAtOnce, std::move(done));
    }
    void Finish(Done done) override
    {
        Error ignored;
        m_socket.shutdown(tcp::socket::shutdown_send, ignored);
        DropAll(m_socket, m_dropped, std::move(done));
    }
    void Close() override
    {
        Error ignored;
        m_socket.close(ignored);
    }

private:
    tcp::socket m_socket;
    DropRoom m_dropped{};
};

class TlsWire : public Wire
{
public:
    TlsWire(tcp::socket socket, std::shared_ptr<boost::asio::ssl::context> context)
        : m_context(std::move(context)), m_stream(std::move(socket), *m_context)
    {
    }

    void Begin(Done done) override
    {
        m_stream.async_handshake(boost::asio::ssl::stream_base::server,
                                 [done = std::move(done)](const Error &error) { done(error, 0); });
    }
    void Read(boost::asio::mutable_buffer room, Done done) override
    {
        m_stream.async_read_some(room, std::move(done));
    }
    void Write(const Buffers &bytes, Done done) override
    {
        boost::asio::async_write(m_stream, bytes, std::move(done));
    }
    void Finish(Done done) override
    {
        m_stream.async_shutdown(
            [this, done = std::move(done)](const Error &error)
            {
                if (!error || !m_stream.next_layer().is_open())
                    return done(error, 0);
                // He still sends what nobody wants; it is not even deciphered.
                Error ignored;
                m_stream.next_layer().shutdown(tcp::socket::shutdown_send, ignored);
                DropAll(m_stream.next_layer(), m_dropped, done);
            });
    }
    void Close() override
    {
        Error ignored;
        m_stream.next_layer().close(ignored);
    }

private:
    const std::shared_ptr<boost::asio::ssl::context> m_context; // Of those before it was renewed.
    boost::asio::ssl::stream<tcp::socket> m_stream;
    DropRoom m_dropped{};
};

} // namespace

std::unique_ptr<Wire> MakeBareWire(tcp::socket socket)
{
    return std::make_unique<BareWire>(std::move(socket));
}

std::unique_ptr<Wire> MakeTlsWire(tcp::socket socket,
                                  std::shared_ptr<boost::asio::ssl::context> context)
{
    return std::make_unique<TlsWire>(std::move(socket), std::move(context));
}

} // namespace web
