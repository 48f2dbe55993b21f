#include "master/door/StatusServer.h"

#include <atomic>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/http/write.hpp>
#include <thread>

#include "ostrel/Attempt.h"
#include "ostrel/CallEntry.h"
#include "ostrel/Exception.h"
#include "ostrel/Log.h"

namespace master
{

namespace http = boost::beast::http;
using boost::asio::ip::tcp;
using boost::system::error_code;
using ostrel::_CallEntry;

namespace
{

constexpr std::chrono::seconds k_request_within{5};
constexpr std::chrono::seconds k_accept_again_after{1};
constexpr int k_most_conversations = 64;
constexpr int k_most_waiting_for_metrics = 8;
constexpr std::uint32_t k_most_header_bytes = 8u << 10;

const char *const k_plain_text = "text/plain; charset=utf-8";
// Prometheus asks for it by its version.
const char *const k_metrics_text = "text/plain; version=0.0.4; charset=utf-8";

} // namespace

/// The acceptor, its thread, and one for what takes longer.
class StatusServer::Parts
{
public:
    Parts(std::uint16_t port, Source &source);
    ~Parts();

    std::uint16_t Port() const
    {
        return m_acceptor.local_endpoint().port();
    }

private:
    class Conversation;
    class Place;

    void Accept();
    void AcceptLater();
    void Run();

    Source &m_source;
    std::atomic<int> m_conversations{0};
    std::atomic<int> m_waitingForMetrics{0};
    boost::asio::io_context m_loop{1};
    tcp::acceptor m_acceptor{m_loop};
    boost::asio::steady_timer m_acceptTimer{m_loop};
    boost::asio::thread_pool m_worker{1};
    std::jthread m_thread;
};

/// Holds one of a number of places.
class StatusServer::Parts::Place
{
public:
    explicit Place(std::atomic<int> &taken) : m_taken(taken), m_count(++taken) {}
    ~Place()
    {
        --m_taken;
    }
    Place(const Place &) = delete;
    Place &operator=(const Place &) = delete;

    // How many were taken with this one.
    int Count() const
    {
        return m_count;
    }

private:
    std::atomic<int> &m_taken;
    const int m_count;
};

/// One request and its answer. The server's thread, but where it says otherwise.
class StatusServer::Parts::Conversation : public std::enable_shared_from_this<Conversation>
{
public:
    Conversation(Parts &server, tcp::socket socket)
        : m_server(server), m_place(server.m_conversations), m_stream(std::move(socket))
    {
        m_parser.body_limit(0);
    }

    bool HasPlace() const
    {
        return m_place.Count() <= k_most_conversations;
    }

    void Begin();

private:
    void OnHead(const error_code &error, std::size_t size);
    void TellHealth();
    void TellMetrics();
    void Answer(http::status status, const char *type, std::string text);

    Parts &m_server;
    const Place m_place;
    boost::beast::tcp_stream m_stream;
    std::string m_bytes;
    http::request_parser<http::empty_body> m_parser;
    http::response<http::string_body> m_answer;
};

void StatusServer::Parts::Conversation::Begin()
{
    _CallEntry call("StatusServer::Parts::Conversation::Begin", __FILE__, __LINE__);

    // The parser's own limit counts anew with each field: it gets the header as a whole.
    m_stream.expires_after(k_request_within);
    boost::asio::async_read_until(
        m_stream, boost::asio::dynamic_buffer(m_bytes, k_most_header_bytes), "\r\n\r\n",
        [self = shared_from_this()](const error_code &error, std::size_t size)
        { self->OnHead(error, size); });
}

void StatusServer::Parts::Conversation::OnHead(const error_code &error, std::size_t size)
{
    _CallEntry call("StatusServer::Parts::Conversation::OnHead", __FILE__, __LINE__);

    if (error)
        return; // Hung up, too slow, or longer than a header may be.
    error_code wrong;
    m_parser.put(boost::asio::buffer(m_bytes.data(), size), wrong);
    // What has a body is not done yet.
    if (wrong || !m_parser.is_done())
        return;
    const auto &request = m_parser.get();
    if (request.method() != http::verb::get && request.method() != http::verb::head)
        return Answer(http::status::method_not_allowed, k_plain_text, "only GET and HEAD\n");
    if (request.target() == "/healthz")
        return TellHealth();
    if (request.target() == "/metrics")
        return TellMetrics();
    Answer(http::status::not_found, k_plain_text, "there are /metrics and /healthz\n");
}

void StatusServer::Parts::Conversation::TellHealth()
{
    _CallEntry call("StatusServer::Parts::Conversation::TellHealth", __FILE__, __LINE__);

    const String trouble = m_server.m_source.Trouble();
    if (trouble.empty())
        Answer(http::status::ok, k_plain_text, "ok\n");
    else
        Answer(http::status::service_unavailable, k_plain_text, trouble + "\n");
}

void StatusServer::Parts::Conversation::TellMetrics()
{
    _CallEntry call("StatusServer::Parts::Conversation::TellMetrics", __FILE__, __LINE__);

    // Where the disk does not answer they gather; /healthz must have places left.
    auto place = std::make_shared<Place>(m_server.m_waitingForMetrics);
    if (place->Count() > k_most_waiting_for_metrics)
        return Answer(http::status::service_unavailable, k_plain_text,
                      "too many wait for the metrics\n");
    m_stream.expires_never();
    boost::asio::post(
        m_server.m_worker,
        [self = shared_from_this(), place = std::move(place)]() mutable
        {
            std::string text;
            const auto reason =
                ostrel::Attempt([&] { text = self->m_server.m_source.MetricsText(); });
            const auto status = reason ? http::status::internal_server_error : http::status::ok;
            const char *const type = reason ? k_plain_text : k_metrics_text;
            if (reason)
                text = *reason + "\n";
            // Whoever drops it last closes its socket; that is to be the server's thread.
            auto &loop = self->m_server.m_loop;
            boost::asio::post(loop, [self = std::move(self), status, type, text = std::move(text)]
                              { self->Answer(status, type, text); });
        });
}

void StatusServer::Parts::Conversation::Answer(http::status status, const char *type,
                                               std::string text)
{
    _CallEntry call("StatusServer::Parts::Conversation::Answer", __FILE__, __LINE__);

    m_answer.result(status);
    m_answer.version(m_parser.get().version());
    m_answer.set(http::field::content_type, type);
    m_answer.keep_alive(false);
    m_answer.content_length(text.size());
    if (m_parser.get().method() != http::verb::head)
        m_answer.body() = std::move(text);
    m_stream.expires_after(k_request_within);
    http::async_write(m_stream, m_answer,
                      [self = shared_from_this()](error_code error, std::size_t)
                      { self->m_stream.socket().shutdown(tcp::socket::shutdown_send, error); });
}

StatusServer::Parts::Parts(std::uint16_t port, Source &source) : m_source(source)
{
    _CallEntry call("StatusServer::Parts::Parts", __FILE__, __LINE__);

    const auto reason = ostrel::Attempt(
        [&]
        {
            m_acceptor.open(tcp::v4());
            m_acceptor.set_option(tcp::acceptor::reuse_address(true));
            m_acceptor.bind({boost::asio::ip::address_v4::loopback(), port});
            m_acceptor.listen();
        });
    if (reason)
        throw new ostrel::Exception("cannot listen at 127.0.0.1:" + std::to_string(port) +
                                    " for /metrics and /healthz: " + *reason);
    Accept();
    m_thread = std::jthread([this] { Run(); });
}

StatusServer::Parts::~Parts()
{
    _CallEntry call("StatusServer::Parts::~Parts", __FILE__, __LINE__);

    m_loop.stop();
    m_thread.join();
    m_worker.stop();
    m_worker.join();
}

void StatusServer::Parts::Run()
{
    _CallEntry call("StatusServer::Parts::Run", __FILE__, __LINE__);

    while (!m_loop.stopped())
        if (const auto reason = ostrel::Attempt([&] { m_loop.run(); }))
            ostrel::LogError(*reason);
}

void StatusServer::Parts::Accept()
{
    _CallEntry call("StatusServer::Parts::Accept", __FILE__, __LINE__);

    m_acceptor.async_accept(
        [this](const error_code &error, tcp::socket socket)
        {
            // There are no descriptors left; there may be again.
            if (error)
                return AcceptLater();
            Accept();
            const auto conversation = std::make_shared<Conversation>(*this, std::move(socket));
            if (conversation->HasPlace())
                conversation->Begin();
        });
}

void StatusServer::Parts::AcceptLater()
{
    _CallEntry call("StatusServer::Parts::AcceptLater", __FILE__, __LINE__);

    m_acceptTimer.expires_after(k_accept_again_after);
    m_acceptTimer.async_wait(
        [this](const error_code &error)
        {
            if (!error)
                Accept();
        });
}

StatusServer::StatusServer(std::uint16_t port, Source &source)
    : m_parts(std::make_unique<Parts>(port, source))
{
    _CallEntry call("StatusServer::StatusServer", __FILE__, __LINE__);
}

StatusServer::~StatusServer() = default;

std::uint16_t StatusServer::Port() const
{
    _CallEntry call("StatusServer::Port", __FILE__, __LINE__);

    return m_parts->Port();
}

} // namespace master
