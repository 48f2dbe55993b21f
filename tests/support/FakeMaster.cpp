#include "tests/support/FakeMaster.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <grpcpp/generic/async_generic_service.h>
#include <grpcpp/impl/codegen/proto_utils.h>
#include <grpcpp/security/server_credentials.h>
#include <grpcpp/server.h>
#include <grpcpp/server_builder.h>
#include <mutex>
#include <set>

#include <gtest/gtest.h>

#include "corvan/Keepalive.h"
#include "corvan/Limits.h"
#include "corvan/Protocol.h"

using corvan::wire::Envelope;

namespace
{

grpc::ByteBuffer MakeBuffer(std::string_view bytes)
{
    const grpc::Slice slice(bytes.data(), bytes.size());
    return grpc::ByteBuffer(&slice, 1);
}

Envelope ReadEnvelope(const grpc::ByteBuffer &buffer)
{
    std::vector<grpc::Slice> slices;
    buffer.Dump(&slices);
    std::string bytes;
    for (const grpc::Slice &slice : slices)
        bytes.append(reinterpret_cast<const char *>(slice.begin()), slice.size());
    Envelope envelope;
    envelope.ParseFromString(bytes);
    return envelope;
}

} // namespace

/// Works with bytes, so that it can send what is no message.
class FakeMaster::Service : public grpc::CallbackGenericService
{
public:
    explicit Service(Greeting greeting) : m_greeting(greeting) {}

    void Listen(const std::string &target,
                const std::shared_ptr<grpc::ServerCredentials> &credentials);
    int Port() const
    {
        return m_port;
    }
    void Shutdown();
    void SendBytes(std::string_view bytes);
    std::vector<Envelope> Received(std::size_t count);
    std::size_t UnsentBytes();
    void SetProtocol(unsigned protocol)
    {
        m_protocol = protocol;
    }
    std::vector<std::string> Tokens();

    grpc::ServerGenericBidiReactor *CreateReactor(grpc::GenericCallbackServerContext *) override;

private:
    class Client;

    const Greeting m_greeting;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<Envelope> m_received;
    std::set<Client *> m_clients;
    std::vector<std::string> m_tokens;
    std::atomic<unsigned> m_protocol = corvan::k_Protocol;
    int m_port = 0;
    std::unique_ptr<grpc::Server> m_server;
};

/// One stream; deletes itself at its end.
class FakeMaster::Service::Client : public grpc::ServerGenericBidiReactor
{
public:
    explicit Client(Service &service) : m_service(service)
    {
        StartRead(&m_incoming);
    }

    // With the service's lock held, as the next two.
    void Send(std::string_view bytes)
    {
        if (m_isEnded)
            return;
        m_outgoing.emplace_back(bytes);
        if (m_outgoing.size() == 1)
            WriteNext();
    }

    std::size_t UnsentBytes() const
    {
        std::size_t sum = 0;
        for (const std::string &bytes : m_outgoing)
            sum += bytes.size();
        return sum;
    }

private:
    void WriteNext()
    {
        m_written = MakeBuffer(m_outgoing.front());
        StartWrite(&m_written);
    }

    void OnReadDone(bool isFine) override
    {
        if (!isFine)
        {
            EndOnce(grpc::Status::OK);
            return;
        }
        const Envelope envelope = ReadEnvelope(m_incoming);
        if (envelope.has_hello())
            Greet();
        const std::lock_guard lock(m_service.m_mutex);
        m_service.m_received.push_back(envelope);
        m_service.m_changed.notify_all();
        // gRPC takes no reads and writes of a stream that was finished.
        if (!m_isEnded)
            StartRead(&m_incoming);
    }

    void Greet()
    {
        Envelope answer;
        switch (m_service.m_greeting)
        {
        case Greeting::Welcome:
            answer.mutable_welcome()->set_master(k_Id);
            answer.mutable_welcome()->set_version("1.2.3");
            answer.mutable_welcome()->set_protocol(m_service.m_protocol);
            break;
        case Greeting::Nonsense:
            answer.mutable_accepted();
            break;
        case Greeting::Refusal:
            EndOnce({grpc::StatusCode::UNAUTHENTICATED, "wrong token"});
            return;
        case Greeting::Silence:
            return;
        }
        const std::lock_guard lock(m_service.m_mutex);
        Send(answer.SerializeAsString());
    }

    void OnWriteDone(bool isFine) override
    {
        const std::lock_guard lock(m_service.m_mutex);
        m_outgoing.pop_front();
        m_service.m_changed.notify_all();
        if (isFine && !m_isEnded && !m_outgoing.empty())
            WriteNext();
    }

    void OnCancel() override
    {
        EndOnce(grpc::Status::CANCELLED);
    }

    void OnDone() override
    {
        {
            const std::lock_guard lock(m_service.m_mutex);
            m_service.m_clients.erase(this);
        }
        delete this;
    }

    void EndOnce(const grpc::Status &status)
    {
        const std::lock_guard lock(m_service.m_mutex);
        if (!m_isEnded)
            Finish(status);
        m_isEnded = true;
    }

    Service &m_service;
    grpc::ByteBuffer m_incoming;
    grpc::ByteBuffer m_written;
    std::deque<std::string> m_outgoing;
    bool m_isEnded = false;
};

grpc::ServerGenericBidiReactor *
FakeMaster::Service::CreateReactor(grpc::GenericCallbackServerContext *context)
{
    const auto token = context->client_metadata().find(corvan::k_TokenMetadata);
    auto *client = new Client(*this);
    const std::lock_guard lock(m_mutex);
    m_tokens.push_back(token == context->client_metadata().end()
                           ? ""
                           : std::string(token->second.data(), token->second.size()));
    m_clients.insert(client);
    return client;
}

void FakeMaster::Service::Listen(const std::string &target,
                                 const std::shared_ptr<grpc::ServerCredentials> &credentials)
{
    grpc::ServerBuilder builder;
    builder.AddListeningPort(target, credentials ? credentials : grpc::InsecureServerCredentials(),
                             &m_port);
    builder.RegisterCallbackGenericService(this);
    builder.SetMaxReceiveMessageSize(2 * corvan::k_MaxMessageBytes);
    builder.SetMaxSendMessageSize(4 * corvan::k_MaxMessageBytes);
    builder.AddChannelArgument(GRPC_ARG_HTTP2_MIN_RECV_PING_INTERVAL_WITHOUT_DATA_MS,
                               corvan::k_LeastPingIntervalMs);
    m_server = builder.BuildAndStart();
    if (!m_server)
        throw std::runtime_error("the fake Master cannot listen at " + target);
}

void FakeMaster::Service::Shutdown()
{
    m_server->Shutdown(std::chrono::system_clock::now());
    m_server->Wait();
}

void FakeMaster::Service::SendBytes(std::string_view bytes)
{
    const std::lock_guard lock(m_mutex);
    for (Client *client : m_clients)
        client->Send(bytes);
}

std::vector<Envelope> FakeMaster::Service::Received(std::size_t count)
{
    std::unique_lock lock(m_mutex);
    m_changed.wait_for(lock, std::chrono::seconds(10), [&] { return m_received.size() >= count; });
    return m_received;
}

std::vector<std::string> FakeMaster::Service::Tokens()
{
    const std::lock_guard lock(m_mutex);
    return m_tokens;
}

std::size_t FakeMaster::Service::UnsentBytes()
{
    const std::lock_guard lock(m_mutex);
    std::size_t sum = 0;
    for (const Client *client : m_clients)
        sum += client->UnsentBytes();
    return sum;
}

FakeMaster::FakeMaster(const std::string &target, Greeting greeting,
                       const std::shared_ptr<grpc::ServerCredentials> &credentials)
    : m_service(std::make_unique<Service>(greeting))
{
    m_service->Listen(target, credentials);
}

void FakeMaster::SetProtocol(unsigned protocol)
{
    m_service->SetProtocol(protocol);
}

std::vector<std::string> FakeMaster::Tokens() const
{
    return m_service->Tokens();
}

int FakeMaster::Port() const
{
    return m_service->Port();
}

FakeMaster::~FakeMaster()
{
    m_service->Shutdown();
}

void FakeMaster::Send(const Envelope &envelope)
{
    m_service->SendBytes(envelope.SerializeAsString());
}

void FakeMaster::SendBytes(std::string_view bytes)
{
    m_service->SendBytes(bytes);
}

std::vector<Envelope> FakeMaster::Received(std::size_t count)
{
    return m_service->Received(count);
}

Envelope FakeMaster::LastOf(std::size_t count)
{
    const std::vector<Envelope> received = Received(count);
    if (received.size() >= count)
        return received.at(count - 1);
    ADD_FAILURE() << "a Master was sent " << received.size() << " messages, not " << count;
    return {};
}

std::size_t FakeMaster::UnsentBytes() const
{
    return m_service->UnsentBytes();
}
