#include "tests/master/RawClient.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>

#include "corvan/Limits.h"
#include "ostrel/UID.h"

RawClient::RawClient(const std::string &address,
                     std::shared_ptr<grpc::ChannelCredentials> credentials,
                     const std::string &token, std::chrono::seconds patience)
{
    grpc::ChannelArguments arguments;
    // Clients of one test share no connection.
    arguments.SetInt(GRPC_ARG_USE_LOCAL_SUBCHANNEL_POOL, 1);
    arguments.SetMaxReceiveMessageSize(int(corvan::k_MaxMessageBytes) + 4096);
    m_channel = grpc::CreateCustomChannel(address, credentials, arguments);
    m_stub = wire::Master::NewStub(m_channel);
    m_context.set_deadline(std::chrono::system_clock::now() + patience);
    m_context.set_wait_for_ready(true);
    if (!token.empty())
        m_context.AddMetadata(corvan::k_TokenMetadata, token);
    m_stream = m_stub->Connect(&m_context);
}

RawClient::~RawClient()
{
    if (m_isOver)
        return;
    m_context.TryCancel();
    End();
}

bool RawClient::SayHello(unsigned protocol)
{
    const auto answer = Ask(HelloEnvelope(protocol));
    return answer && answer->has_welcome();
}

bool RawClient::Send(const wire::Envelope &envelope)
{
    return m_stream->Write(envelope);
}

std::optional<wire::Envelope> RawClient::Ask(wire::Envelope envelope)
{
    envelope.set_serial(++m_serial);
    if (!Send(envelope))
        return std::nullopt;
    while (auto answer = Read())
    {
        if (answer->answers() == envelope.serial())
            return answer;
        m_kept.push_back(*answer);
    }
    return std::nullopt;
}

std::optional<wire::Envelope> RawClient::Receive()
{
    if (m_kept.empty())
        return Read();
    wire::Envelope envelope = m_kept.front();
    m_kept.pop_front();
    return envelope;
}

std::optional<wire::Envelope>
RawClient::ReceiveUntil(const std::function<bool(const wire::Envelope &)> &isWanted)
{
    while (auto envelope = Receive())
        if (isWanted(*envelope))
            return envelope;
    return std::nullopt;
}

std::optional<wire::Envelope> RawClient::Read()
{
    while (m_parts.empty())
    {
        wire::Envelope envelope;
        if (!m_stream->Read(&envelope))
            return std::nullopt;
        ++m_traffic.messages;
        if (envelope.gathered_size() == 0)
            return envelope;
        m_traffic.mostGathered =
            std::max(m_traffic.mostGathered, std::size_t(envelope.gathered_size()));
        m_traffic.mostBytes = std::max(m_traffic.mostBytes, envelope.ByteSizeLong());
        for (const std::string &part : envelope.gathered())
            if (!m_parts.emplace_back().ParseFromString(part))
                throw std::runtime_error("a part of a message is none");
    }
    wire::Envelope part = std::move(m_parts.front());
    m_parts.pop_front();
    return part;
}

void RawClient::CloseSending()
{
    m_stream->WritesDone();
}

grpc::Status RawClient::End()
{
    while (Read())
    {
    }
    m_isOver = true;
    return m_stream->Finish();
}

wire::Envelope HelloEnvelope(unsigned protocol)
{
    wire::Envelope envelope;
    wire::Hello &hello = *envelope.mutable_hello();
    hello.set_client(ostrel::UID(true).ToString());
    hello.set_kind(1);
    hello.set_program("test");
    hello.set_version("1");
    hello.set_protocol(protocol);
    return envelope;
}

wire::Envelope FollowEnvelope(const std::string &job)
{
    wire::Envelope envelope;
    envelope.mutable_follow_job()->add_jobs(job);
    return envelope;
}

wire::Envelope GetJobEnvelope(const std::string &job)
{
    wire::Envelope envelope;
    envelope.mutable_get_job_info()->add_jobs(job);
    return envelope;
}

wire::Envelope GetTasksEnvelope(const std::string &job)
{
    wire::Envelope envelope;
    envelope.mutable_get_tasks()->set_job(job);
    return envelope;
}

wire::Envelope SetEnvelope(const std::string &job, const std::string &name,
                           const std::string &value)
{
    wire::Envelope envelope;
    wire::JobParameter &parameter = *envelope.mutable_job_parameter();
    parameter.set_job(job);
    parameter.set_name(name);
    parameter.set_value(value);
    return envelope;
}

std::string ParameterOf(const wire::Job &job, const std::string &name)
{
    for (const wire::Parameter &parameter : job.parameters())
        if (parameter.name() == name)
            return parameter.value();
    return "(not set)";
}

std::function<bool(const wire::Envelope &)> IsNews(const std::string &name,
                                                   const std::string &value)
{
    return [=](const wire::Envelope &envelope)
    {
        return envelope.has_job_parameter() && envelope.job_parameter().name() == name &&
               envelope.job_parameter().value() == value;
    };
}
