#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <grpcpp/grpcpp.h>
#include <memory>
#include <optional>
#include <string>

#include "corvan/Protocol.h"
#include "corvan/messages.grpc.pb.h"

namespace wire = corvan::wire;

/// A client of the Master that speaks the bare protocol, rightly or wrongly. Every wait ends after
/// half a minute, and the stream with it, where no other patience is asked for.
class RawClient
{
public:
    /// Connects to an address as gRPC takes it. A call without a token brings none.
    explicit RawClient(
        const std::string &address,
        std::shared_ptr<grpc::ChannelCredentials> credentials = grpc::InsecureChannelCredentials(),
        const std::string &token = {}, std::chrono::seconds patience = std::chrono::seconds(30));
    ~RawClient();
    RawClient(const RawClient &) = delete;
    RawClient &operator=(const RawClient &) = delete;

    /// Says Hello and waits for the Welcome. False when the Master ended the stream.
    bool SayHello(unsigned protocol = corvan::k_Protocol);

    /// Sends a message as it is. False when the stream is over.
    bool Send(const wire::Envelope &envelope);

    /// Sends a message with a serial of its own and gives its answer; what else comes meanwhile is
    /// kept for `Receive`. Nothing when the stream is over.
    std::optional<wire::Envelope> Ask(wire::Envelope envelope);

    /// The next message that has come, or comes.
    std::optional<wire::Envelope> Receive();
    /// The next one that `isWanted`; those before it are dropped.
    std::optional<wire::Envelope>
    ReceiveUntil(const std::function<bool(const wire::Envelope &)> &isWanted);

    /// What has come, as it went over the wire: one that holds others is one.
    struct Traffic
    {
        std::size_t messages = 0;
        std::size_t mostGathered = 0; ///< Held by one of them.
        std::size_t mostBytes = 0;    ///< Of one that holds others.
    };
    const Traffic &Came() const
    {
        return m_traffic;
    }

    /// Tells the Master that no more will be sent.
    void CloseSending();

    /// How the Master ended the stream; waits for it, and reads what still comes.
    grpc::Status End();

private:
    std::optional<wire::Envelope> Read();

    std::shared_ptr<grpc::Channel> m_channel;
    std::unique_ptr<wire::Master::Stub> m_stub;
    grpc::ClientContext m_context;
    std::unique_ptr<grpc::ClientReaderWriter<wire::Envelope, wire::Envelope>> m_stream;
    std::deque<wire::Envelope> m_parts; // Came as one, and are still to be read.
    std::deque<wire::Envelope> m_kept;
    Traffic m_traffic;
    std::uint64_t m_serial = 0;
    bool m_isOver = false;
};

/// Messages of clients.
wire::Envelope HelloEnvelope(unsigned protocol = corvan::k_Protocol);
wire::Envelope FollowEnvelope(const std::string &job);
wire::Envelope GetJobEnvelope(const std::string &job);
wire::Envelope GetTasksEnvelope(const std::string &job);
wire::Envelope SetEnvelope(const std::string &job, const std::string &name,
                           const std::string &value);

/// The value of a job's parameter; "(not set)" where it has none.
std::string ParameterOf(const wire::Job &job, const std::string &name);

/// True for the news that this parameter has this value.
std::function<bool(const wire::Envelope &)> IsNews(const std::string &name,
                                                   const std::string &value);
