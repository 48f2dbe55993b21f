// What the door of the web server costs: one answer that is there already, as that of a small
// picture in the cache, asked for by a page with its cookie on connections that stay; against the
// same bytes as Beast serves them bare, to anybody.
#include <arpa/inet.h>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/http/write.hpp>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <memory>
#include <pthread.h>
#include <sys/socket.h>
#include <thread>

#include "bench/Measure.h"
#include "ostrel/Descriptor.h"
#include "web/door/Server.h"

namespace
{

namespace http = boost::beast::http;
using boost::asio::ip::tcp;
using boost::system::error_code;

constexpr int k_rounds = 21;
constexpr int k_requests = 4000; // Of a round.
constexpr int k_connections = 4;

/// A loop on a thread of its own, whose processor time can be read.
class BenchLoop
{
public:
    BenchLoop() : m_thread([this] { m_loop.run(); })
    {
        pthread_getcpuclockid(m_thread.native_handle(), &m_clock);
    }
    ~BenchLoop()
    {
        m_loop.stop();
    }

    template <typename Work> void On(Work work)
    {
        std::packaged_task<void()> task(std::move(work));
        boost::asio::post(m_loop, [&task] { task(); });
        task.get_future().get();
    }
    boost::asio::io_context &Loop()
    {
        return m_loop;
    }
    double UsedMs() const
    {
        timespec used{};
        clock_gettime(m_clock, &used);
        return double(used.tv_sec) * 1e3 + double(used.tv_nsec) / 1e6;
    }

private:
    boost::asio::io_context m_loop{1};
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> m_work{
        m_loop.get_executor()};
    clockid_t m_clock{};
    std::jthread m_thread;
};

/// A route of Beast alone: it reads a request and writes the same answer, again and again.
class BareConversation : public std::enable_shared_from_this<BareConversation>
{
public:
    BareConversation(tcp::socket socket, const http::response<http::string_body> &answer)
        : m_stream(std::move(socket)), m_answer(answer)
    {
    }

    void Read()
    {
        m_parser.emplace();
        m_stream.expires_after(std::chrono::seconds(30));
        http::async_read(m_stream, m_buffer, *m_parser,
                         [self = shared_from_this()](const error_code &error, std::size_t)
                         {
                             if (!error)
                                 self->Write();
                         });
    }

private:
    void Write()
    {
        m_stream.expires_after(std::chrono::seconds(30));
        http::async_write(m_stream, m_answer,
                          [self = shared_from_this()](const error_code &error, std::size_t)
                          {
                              if (!error)
                                  self->Read();
                          });
    }

    boost::beast::tcp_stream m_stream;
    boost::beast::flat_buffer m_buffer;
    std::optional<http::request_parser<http::empty_body>> m_parser;
    const http::response<http::string_body> &m_answer;
};

class BareServer
{
public:
    BareServer(boost::asio::io_context &loop, const std::string &body)
        : m_acceptor(loop, {boost::asio::ip::address_v4::loopback(), 0})
    {
        m_answer.version(11);
        m_answer.set(http::field::content_type, "image/jpeg");
        m_answer.set(http::field::cache_control, "private, max-age=60");
        m_answer.body() = body;
        m_answer.prepare_payload();
        Accept();
    }

    std::uint16_t Port() const
    {
        return m_acceptor.local_endpoint().port();
    }

private:
    void Accept()
    {
        m_acceptor.async_accept(
            [this](const error_code &error, tcp::socket socket)
            {
                if (error)
                    return;
                socket.set_option(tcp::no_delay(true));
                std::make_shared<BareConversation>(std::move(socket), m_answer)->Read();
                Accept();
            });
    }

    tcp::acceptor m_acceptor;
    http::response<http::string_body> m_answer;
};

class NoGatekeeper : public web::Gatekeeper
{
public:
    void AskWhose(const std::shared_ptr<const web::Caller> & /*caller*/, Told told) override
    {
        told({401, "there are no tokens here"});
    }
    void OnEnded(const std::shared_ptr<const web::Caller> & /*caller*/) override {}
};

[[noreturn]] void Fail(const char *what)
{
    std::fprintf(stderr, "web_door_bench: %s\n", what);
    std::exit(1);
}

/// A page's connection.
class BenchClient
{
public:
    explicit BenchClient(std::uint16_t port) : m_socket(::socket(AF_INET, SOCK_STREAM, 0))
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (::connect(m_socket.Number(), reinterpret_cast<const sockaddr *>(&address),
                      sizeof address) != 0)
            Fail("nobody listens");
    }

    void Send(const std::string &request) const
    {
        if (::send(m_socket.Number(), request.data(), request.size(), MSG_NOSIGNAL) !=
            ssize_t(request.size()))
            Fail("the server does not read");
    }
    /// An answer of this body's length.
    std::string Receive(std::size_t bodyBytes)
    {
        m_size = 0;
        std::size_t head = std::string::npos;
        while (head == std::string::npos || m_size < head + 4 + bodyBytes)
        {
            const ssize_t count =
                ::recv(m_socket.Number(), m_bytes.data() + m_size, m_bytes.size() - m_size, 0);
            if (count <= 0)
                Fail("the server has closed");
            m_size += std::size_t(count);
            if (head == std::string::npos)
                head = std::string_view(m_bytes.data(), m_size).find("\r\n\r\n");
        }
        return m_bytes.substr(0, head);
    }

private:
    const ostrel::Descriptor m_socket;
    std::string m_bytes = std::string(1u << 20, '\0');
    std::size_t m_size = 0;
};

using Clients = std::vector<std::unique_ptr<BenchClient>>;

Clients Connect(std::uint16_t port)
{
    Clients clients;
    for (int i = 0; i < k_connections; ++i)
        clients.push_back(std::make_unique<BenchClient>(port));
    return clients;
}

void AskAll(Clients &clients, const std::string &request, std::size_t bodyBytes)
{
    for (int i = 0; i < k_requests / k_connections; ++i)
    {
        for (const auto &client : clients)
            client->Send(request);
        for (const auto &client : clients)
            if (!client->Receive(bodyBytes).starts_with("HTTP/1.1 200 "))
                Fail("a request was refused");
    }
}

struct Rounds
{
    std::vector<double> passedMs;
    std::vector<double> usedMs;
};

void AddRound(Rounds &rounds, const BenchLoop &loop, Clients &clients, const std::string &request,
              std::size_t bodyBytes)
{
    const double used = loop.UsedMs();
    const std::int64_t start = bench::NowNs();
    AskAll(clients, request, bodyBytes);
    rounds.passedMs.push_back(double(bench::NowNs() - start) / 1e6);
    rounds.usedMs.push_back(loop.UsedMs() - used);
}

// A page's request as a browser sends it.
std::string BrowserRequest(std::uint16_t port, const std::string &cookie)
{
    const std::string host = "127.0.0.1:" + std::to_string(port);
    return "GET /api/jobs/f81d4fae-7dec-41d0-a765-00a0c91e6bf6/frames/7/picture?width=256 HTTP/1.1"
           "\r\nHost: " +
           host +
           "\r\nConnection: keep-alive\r\nUser-Agent: Mozilla/5.0 (X11; Linux x86_64) "
           "AppleWebKit/537.36 (KHTML, like Gecko) Chrome/120.0.0.0 Safari/537.36\r\n"
           "Accept: image/avif,image/webp,image/apng,image/svg+xml,image/*,*/*;q=0.8\r\n"
           "Sec-Fetch-Site: same-origin\r\nSec-Fetch-Mode: no-cors\r\nSec-Fetch-Dest: image\r\n"
           "Referer: http://" +
           host + "/\r\nAccept-Encoding: gzip, deflate, br\r\nAccept-Language: en-US,en;q=0.9\r\n" +
           "Cookie: " + cookie + "\r\n\r\n";
}

std::string OpenSession(std::uint16_t port, const std::string &secret)
{
    BenchClient client(port);
    const std::string body = "{\"secret\":\"" + secret + "\"}";
    const std::string host = "127.0.0.1:" + std::to_string(port);
    client.Send("POST /api/session HTTP/1.1\r\nHost: " + host + "\r\nOrigin: http://" + host +
                "\r\nContent-Type: application/json\r\nContent-Length: " +
                std::to_string(body.size()) + "\r\n\r\n" + body);
    const std::string head = client.Receive(0);
    const std::string name = "Set-Cookie: ";
    const std::size_t at = head.find(name);
    if (at == std::string::npos)
        Fail("there is no session");
    return head.substr(at + name.size(), head.find(';', at) - at - name.size());
}

void MeasureSize(std::size_t size)
{
    const auto body = std::make_shared<const std::string>(size, 'x');
    web::Routes routes;
    routes.Add(web::Method::Get, "/api/jobs", [](const auto &, const auto &) {});
    routes.Add(web::Method::Get, "/api/jobs/{job}/frames/{frame}/picture",
               [&](const std::shared_ptr<const web::Request> &, const web::Reply &reply)
               {
                   web::Response response;
                   response.type = "image/jpeg";
                   response.body = body;
                   response.headers = {{"Cache-Control", "private, max-age=60"}};
                   reply(std::move(response));
               });
    web::ServerSettings settings;
    settings.personalToken = "not used";
    NoGatekeeper gatekeeper;

    BenchLoop doorLoop;
    BenchLoop bareLoop;
    std::unique_ptr<web::Server> door;
    std::unique_ptr<BareServer> bare;
    std::string secret;
    doorLoop.On(
        [&]
        {
            door = std::make_unique<web::Server>(doorLoop.Loop(), settings, routes, gatekeeper);
            secret = door->MakeSecret();
        });
    bareLoop.On([&] { bare = std::make_unique<BareServer>(bareLoop.Loop(), *body); });
    const std::string cookie = OpenSession(door->Port(), secret);
    {
        Clients doorClients = Connect(door->Port());
        Clients bareClients = Connect(bare->Port());
        const std::string doorRequest = BrowserRequest(door->Port(), cookie);
        const std::string bareRequest = BrowserRequest(bare->Port(), cookie);
        Rounds ofDoor;
        Rounds ofBare;
        // In turns, so that what else the machine does is shared.
        for (int i = 0; i < k_rounds; ++i)
        {
            AddRound(ofBare, bareLoop, bareClients, bareRequest, size);
            AddRound(ofDoor, doorLoop, doorClients, doorRequest, size);
        }
        const bench::Timing barePassed = bench::FromTimes(ofBare.passedMs);
        const bench::Timing bareUsed = bench::FromTimes(ofBare.usedMs);
        bench::PrintYardstick("Beast alone: 4000 answers", size, barePassed);
        bench::PrintRow("the door: 4000 answers", size, bench::FromTimes(ofDoor.passedMs),
                        barePassed);
        bench::PrintYardstick("Beast alone: processor time", size, bareUsed);
        bench::PrintRow("the door: processor time", size, bench::FromTimes(ofDoor.usedMs),
                        bareUsed);
    }
    doorLoop.On([&] { door.reset(); });
    bareLoop.On([&] { bare.reset(); });
}

} // namespace

int main()
{
    bench::PrintHead("An answer of the web server that is there already (size: bytes of its body)");
    for (const std::size_t size : {2'000u, 20'000u, 200'000u})
        MeasureSize(size);
    return 0;
}
