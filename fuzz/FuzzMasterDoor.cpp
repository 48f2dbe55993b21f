// Bytes for whatever of a Master listens: its socket file, its TLS port, what is inside of TLS
// there, and its HTTP port. Some are calls with a mistake in them, some are nothing at all.
// Whatever they are, the connection ends with them, and others are served.
#include <arpa/inet.h>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <fuzzer/FuzzedDataProvider.h>
#include <memory>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

#include <openssl/ssl.h>

#include "corvan/Protocol.h"
#include "fuzz/Require.h"
#include "master/door/Tokens.h"
#include "ostrel/Descriptor.h"
#include "ostrel/Log.h"
#include "tests/master/RawClient.h"
#include "tests/master/RunningMaster.h"
#include "tests/master/TestCertificate.h"

using ostrel::Descriptor;

namespace
{

constexpr int k_most_frames = 30;
constexpr std::size_t k_most_bytes = 400;
// What a Master has for it, of which that for the first word of a connection is the longest.
constexpr int k_close_within_ms = 9000;
constexpr unsigned k_look_each = 100;
constexpr int k_spare_descriptors = 8;

/// A Master on a socket file and one over TLS, which stay until the end of the program.
class Farm
{
public:
    Farm()
    {
        ostrel::LogStart({ostrel::k_LogNone, ostrel::k_LogNone, {}});
        char name[] = "/tmp/fuzz.XXXXXX";
        Require(::mkdtemp(name) != nullptr, "there is room for a folder");
        m_folder = name;
        m_onFile = Start("file", {});
        m_overTls = Start("tls", TlsSettings());
        const int port = PortOf(m_overTls->Address());
        m_tlsPort = std::uint16_t(port);
        m_descriptors = CountDescriptors();
    }

    void RemoveFolder() const
    {
        std::error_code none;
        std::filesystem::remove_all(m_folder, none);
    }

    Descriptor ConnectToFile() const
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        (m_folder + "/file/m.sock").copy(address.sun_path, sizeof address.sun_path - 1);
        return Connect(AF_UNIX, &address, sizeof address);
    }
    Descriptor ConnectToTls() const
    {
        return ConnectTo(m_tlsPort);
    }
    Descriptor ConnectToStatus() const
    {
        return ConnectTo(m_onFile->StatusPort());
    }
    const std::string &Token() const
    {
        return m_token;
    }

    void RequireServesOthers()
    {
        RequireServes(*m_onFile, grpc::InsecureChannelCredentials(), {});
        grpc::SslCredentialsOptions options;
        options.pem_root_certs = m_certificate.certificate;
        RequireServes(*m_overTls, grpc::SslCredentials(options), m_token);
        for (int look = 0; CountDescriptors() > m_descriptors + k_spare_descriptors; ++look)
        {
            Require(look < k_close_within_ms, "what is over is closed");
            ::poll(nullptr, 0, 1);
        }
    }

private:
    using Settings = master::ServerSettings;

    std::unique_ptr<RunningMaster> Start(const std::string &leaf, const Settings &server)
    {
        const ostrel::Path folder(m_folder + "/" + leaf);
        std::filesystem::create_directory(folder.Text().c_str());
        master::MasterSettings settings = SettingsIn(folder);
        if (server.security)
            settings.server = server;
        settings.statusPort = 0;
        auto running = std::make_unique<RunningMaster>(settings, 0);
        Require(running->Error().empty(), "a Master can be started");
        return running;
    }

    Settings TlsSettings()
    {
        Settings server;
        server.address = {corvan::MasterAddress::Kind::Tcp, "127.0.0.1:0", {}};
        server.security = {WriteFile("certificate.pem", m_certificate.certificate),
                           WriteFile("key.pem", m_certificate.key), ""};
        const master::NewToken made = master::MakeToken("anna", master::Role::Submit);
        server.tokensFile = master::TokensFileIn(ostrel::Path(m_folder));
        master::SaveTokens(server.tokensFile, std::vector{made.record});
        m_token = made.token;
        return server;
    }

    ostrel::Path WriteFile(const std::string &leaf, const std::string &content) const
    {
        const std::string file = m_folder + "/" + leaf;
        std::ofstream(file) << content;
        ::chmod(file.c_str(), 0600);
        return ostrel::Path(file);
    }

    static int PortOf(const std::string &address)
    {
        return std::stoi(address.substr(address.rfind(':') + 1));
    }

    static Descriptor ConnectTo(std::uint16_t port)
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        return Connect(AF_INET, &address, sizeof address);
    }

    static Descriptor Connect(int family, const void *address, socklen_t size)
    {
        const int socket = ::socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0);
        Require(::connect(socket, static_cast<const sockaddr *>(address), size) == 0,
                "somebody listens");
        return Descriptor(socket);
    }

    static void RequireServes(const RunningMaster &running,
                              std::shared_ptr<grpc::ChannelCredentials> credentials,
                              const std::string &token)
    {
        RawClient client(running.Address(), std::move(credentials), token);
        Require(client.SayHello(), "an honest client is welcome");
        wire::Envelope question;
        question.mutable_list_jobs();
        const auto answer = client.Ask(question);
        Require(answer && answer->has_job_list(), "an honest client is answered");
    }

    static int CountDescriptors()
    {
        const std::filesystem::directory_iterator all("/proc/self/fd");
        return int(std::distance(begin(all), end(all)));
    }

    const TestCertificate m_certificate;
    std::string m_folder;
    std::string m_token;
    std::unique_ptr<RunningMaster> m_onFile;
    std::unique_ptr<RunningMaster> m_overTls;
    std::uint16_t m_tlsPort = 0;
    int m_descriptors = 0;
};

Farm *s_farm = nullptr; // Never deleted: gRPC's threads end with the program.

template <typename Number> void AppendNumber(std::string &bytes, Number number, int count)
{
    for (int shift = 8 * (count - 1); shift >= 0; shift -= 8)
        bytes += char(std::uint64_t(number) >> shift);
}

std::string Frame(unsigned type, unsigned flags, std::uint32_t stream, const std::string &payload)
{
    std::string bytes;
    AppendNumber(bytes, payload.size(), 3);
    AppendNumber(bytes, type, 1);
    AppendNumber(bytes, flags, 1);
    AppendNumber(bytes, stream, 4);
    return bytes + payload;
}

// Literal, in no table; both are short.
std::string Header(const std::string &name, const std::string &value)
{
    return std::string(1, '\0') + char(name.size()) + name + char(value.size()) + value;
}

std::string Base64(const std::string &bytes)
{
    std::string text(4 * (bytes.size() / 3 + 1) + 1, '\0');
    text.resize(std::size_t(EVP_EncodeBlock(reinterpret_cast<unsigned char *>(text.data()),
                                            reinterpret_cast<const unsigned char *>(bytes.data()),
                                            int(bytes.size()))));
    return text;
}

/// Half of a call over HTTP/2, as somebody may send it.
class Caller
{
public:
    explicit Caller(FuzzedDataProvider &input) : m_input(input) {}

    std::string Say()
    {
        std::string bytes;
        // What comes later would else hardly ever be looked at.
        if (!m_input.ConsumeBool())
            bytes = k_preface + Frame(4, 0, 0, {}) + Headers() + Message(HelloEnvelope());
        for (int i = m_input.ConsumeIntegralInRange(0, k_most_frames);
             i > 0 && m_input.remaining_bytes() > 0; --i)
            bytes += Part();
        // It may end anywhere.
        if (m_input.ConsumeBool())
            bytes.resize(m_input.ConsumeIntegralInRange<std::size_t>(0, bytes.size()));
        return bytes;
    }

private:
    static inline const std::string k_preface = "PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n";

    std::string Random(std::size_t most = k_most_bytes)
    {
        return m_input.ConsumeRandomLengthString(most);
    }

    std::uint32_t Stream()
    {
        return m_input.ConsumeBool() ? 1 : m_input.ConsumeIntegralInRange(0u, 9u);
    }

    std::string Part()
    {
        switch (m_input.ConsumeIntegralInRange(0, 11))
        {
        case 0:
            return k_preface;
        case 1:
            return Headers();
        case 2:
            return Message(HelloEnvelope());
        case 3:
            return Message(Question());
        case 4:
            return Frame(0, m_input.ConsumeIntegral<std::uint8_t>(), Stream(), Framed(Random()));
        case 5:
            return Frame(0, m_input.ConsumeIntegral<std::uint8_t>(), Stream(), Random());
        case 6:
            return Settings();
        case 7: // Reset, ping, farewell, window.
        {
            static constexpr unsigned s_types[] = {3, 6, 7, 8};
            std::string payload(8, '\0');
            const std::string random = Random(8);
            random.copy(payload.data(), payload.size());
            const unsigned type = m_input.PickValueInArray(s_types);
            payload.resize(type == 3 || type == 8 ? 4 : 8);
            return Frame(type, m_input.ConsumeIntegral<std::uint8_t>(), Stream(), payload);
        }
        case 8:
            return Frame(0, 1, 1, {}); // The end of the call.
        case 9:
            return Frame(m_input.ConsumeIntegral<std::uint8_t>(),
                         m_input.ConsumeIntegral<std::uint8_t>(), Stream(), Random());
        case 10:
            return Frame(1, m_input.ConsumeIntegral<std::uint8_t>(), Stream(), Random());
        default:
            return Random();
        }
    }

    // Few tokens that are wrong: who brings many has to wait, and so have his neighbours.
    std::string Headers()
    {
        static const char *const s_paths[] = {"/corvan.wire.Master/Connect",
                                              "/corvan.wire.Master/Connect",
                                              "/corvan.wire.Master/Connect",
                                              "/grpc.health.v1.Health/Check",
                                              "/grpc.health.v1.Health/Watch",
                                              "/corvan.wire.Master/None",
                                              ""};
        std::string block = Header(":method", "POST") + Header(":scheme", "http") +
                            Header(":path", m_input.PickValueInArray(s_paths)) +
                            Header(":authority", "localhost") + Header("te", "trailers") +
                            Header("content-type", "application/grpc");
        const unsigned token = m_input.ConsumeIntegralInRange(0u, 15u);
        if (token > 1)
            block += Header(corvan::k_TokenMetadata,
                            Base64(token == 2 ? std::string("wrong") : s_farm->Token()));
        if (m_input.ConsumeIntegralInRange(0, 7) == 0)
            block += Header("x" + Random(20), Random(100));
        return Frame(1, m_input.ConsumeIntegralInRange(0, 7) == 0 ? 5 : 4, Stream(), block);
    }

    std::string Settings()
    {
        std::string payload;
        for (int i = m_input.ConsumeIntegralInRange(0, 4); i > 0; --i)
        {
            AppendNumber(payload, m_input.ConsumeIntegralInRange(0u, 8u), 2);
            AppendNumber(payload, m_input.ConsumeIntegral<std::uint32_t>(), 4);
        }
        return Frame(4, 0, 0, payload);
    }

    // With the length that it has, or with another.
    std::string Framed(const std::string &message)
    {
        std::string bytes(1, char(m_input.ConsumeIntegralInRange(0, 7) == 0));
        const std::size_t length = m_input.ConsumeIntegralInRange(0, 7) == 0
                                       ? m_input.ConsumeIntegral<std::uint32_t>()
                                       : message.size();
        AppendNumber(bytes, length, 4);
        return bytes + message;
    }

    std::string Message(const wire::Envelope &envelope)
    {
        return Frame(0, 0, 1, Framed(envelope.SerializeAsString()));
    }

    wire::Envelope Question()
    {
        static const char *const s_job = "f81d4fae-7dec-41d0-a765-00a0c91e6bf6";
        wire::Envelope envelope;
        switch (m_input.ConsumeIntegralInRange(0, 4))
        {
        case 0:
            envelope = FollowEnvelope(s_job);
            break;
        case 1:
            envelope = GetJobEnvelope(s_job);
            break;
        case 2:
            envelope = SetEnvelope(s_job, "Note", "a note");
            break;
        case 3:
            envelope.mutable_list_jobs()->set_limit(m_input.ConsumeIntegralInRange(0u, 3u));
            break;
        default:
            envelope.mutable_job()->set_id(s_job);
            envelope.mutable_job()->set_type(s_job);
        }
        envelope.set_serial(m_input.ConsumeIntegralInRange(0u, 3u));
        return envelope;
    }

    FuzzedDataProvider &m_input;
};

std::string SayHttp(FuzzedDataProvider &input)
{
    static const char *const s_parts[] = {"GET ",
                                          "HEAD ",
                                          "POST ",
                                          "OPTIONS * ",
                                          "/healthz",
                                          "/metrics",
                                          "/",
                                          " HTTP/1.1",
                                          " HTTP/1.0",
                                          " HTTP/2.0",
                                          "\r\n",
                                          "\r\n\r\n",
                                          "Host: localhost\r\n",
                                          "Connection: close\r\n",
                                          "Connection: keep-alive\r\n",
                                          "Content-Length: 5\r\n",
                                          "Content-Length: 18446744073709551615\r\n",
                                          "Transfer-Encoding: chunked\r\n",
                                          "5\r\nhello\r\n",
                                          "0\r\n\r\n",
                                          "Expect: 100-continue\r\n",
                                          "Upgrade: h2c\r\n",
                                          "GET /healthz HTTP/1.1\r\nHost: localhost\r\n\r\n"};
    std::string bytes;
    while (input.remaining_bytes() > 0 && bytes.size() < 20'000)
    {
        if (input.ConsumeIntegralInRange(0, 3) == 0)
            bytes += input.ConsumeRandomLengthString(k_most_bytes);
        else
            bytes += input.PickValueInArray(s_parts);
    }
    return bytes;
}

// A peer that is not read from is one that has closed.
void WriteTo(int socket, const std::string &bytes)
{
    for (std::size_t done = 0; done < bytes.size();)
    {
        const ssize_t count =
            ::send(socket, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
        if (count <= 0)
            return;
        done += std::size_t(count);
    }
}

void RequireCloses(int socket)
{
    ::shutdown(socket, SHUT_WR);
    char piece[4096];
    for (;;)
    {
        pollfd wait{.fd = socket, .events = POLLIN, .revents = 0};
        int count = 0;
        // The library's own alarm comes in between.
        while ((count = ::poll(&wait, 1, k_close_within_ms)) < 0 && errno == EINTR)
            continue;
        Require(count == 1, "a connection that is over is closed");
        if (::recv(socket, piece, sizeof piece, 0) <= 0)
            return;
    }
}

void SendBare(const Descriptor &socket, const std::string &bytes)
{
    WriteTo(socket.Number(), bytes);
    RequireCloses(socket.Number());
}

void SendThroughTls(const std::string &bytes)
{
    static SSL_CTX *const s_context = []
    {
        SSL_CTX *made = SSL_CTX_new(TLS_client_method());
        static const unsigned char s_protocols[] = {2, 'h', '2'};
        SSL_CTX_set_alpn_protos(made, s_protocols, sizeof s_protocols);
        return made;
    }();
    const Descriptor socket = s_farm->ConnectToTls();
    const std::unique_ptr<SSL, decltype(&SSL_free)> tls(SSL_new(s_context), SSL_free);
    SSL_set_fd(tls.get(), socket.Number());
    Require(SSL_connect(tls.get()) == 1, "TLS is spoken");
    if (!bytes.empty())
        SSL_write(tls.get(), bytes.data(), int(bytes.size()));
    RequireCloses(socket.Number());
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int * /*argc*/, char *** /*argv*/)
{
    std::signal(SIGPIPE, SIG_IGN);
    s_farm = new Farm;
    std::atexit([] { s_farm->RemoveFolder(); });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static unsigned s_count = 0;

    FuzzedDataProvider input(data, size);
    switch (input.ConsumeIntegralInRange(0, 7))
    {
    case 0:
        SendBare(s_farm->ConnectToFile(), input.ConsumeRemainingBytesAsString());
        break;
    case 1:
        SendBare(s_farm->ConnectToTls(), input.ConsumeRemainingBytesAsString());
        break;
    case 2:
        SendBare(s_farm->ConnectToStatus(), SayHttp(input));
        break;
    case 3:
        SendThroughTls(Caller(input).Say());
        break;
    default:
        SendBare(s_farm->ConnectToFile(), Caller(input).Say());
    }
    if (++s_count % k_look_each == 0)
        s_farm->RequireServesOthers();
    return 0;
}
