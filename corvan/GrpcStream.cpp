#include "corvan/GrpcStream.h"

#include <thread>

#include "corvan/GrpcChannel.h"
#include "corvan/MessageFactory.h"
#include "corvan/Utf8.h"
#include "ostrel/Log.h"

namespace corvan
{

namespace
{

constexpr std::size_t k_most_outgoing_bytes = 64u << 20;

// A stream that can no longer be read has this long to tell its status.
constexpr std::chrono::milliseconds k_farewell{1000};

} // namespace

GrpcStream::GrpcStream(const GrpcLink::Settings &settings, const Link::Callbacks &callbacks)
    : m_settings(settings), m_callbacks(callbacks), m_channel(MakeChannel(settings)),
      m_stub(wire::Master::NewStub(m_channel))
{
    // The opening goes out with the first envelope, so that making the stream waits for nothing.
    m_context.set_initial_metadata_corked(true);
    m_stream = m_stub->Connect(&m_context);
}

GrpcStream::Outcome GrpcStream::Run()
{
    grpc::Status status;
    {
        std::jthread writer([this] { WriteAll(); });
        std::jthread reader(
            [&]
            {
                ReadAll();
                EndReading();
                writer.join();
                status = m_stream->Finish();
                const std::lock_guard lock(m_mutex);
                m_isFinished = true;
                m_changed.notify_all();
            });
        WatchClock();
        reader.join();
    }

    Outcome outcome;
    outcome.wasConnected = m_isWelcome;
    outcome.isNobodyThere = !m_isWelcome && status.error_code() == grpc::StatusCode::UNAVAILABLE &&
                            m_channel->GetState(false) != GRPC_CHANNEL_READY;
    outcome.reason = !m_reason.empty()                 ? m_reason
                     : !status.error_message().empty() ? MakeUtf8(status.error_message())
                                                       : String("the Master ended it");
    return outcome;
}

bool GrpcStream::Send(wire::Envelope envelope)
{
    const std::size_t bytes = envelope.ByteSizeLong();
    {
        const std::lock_guard lock(m_mutex);
        if (!m_isWelcome || m_isReadingOver)
            return false;
        m_outgoingBytes += bytes;
        m_outgoing.push_back(std::move(envelope));
        m_changed.notify_all();
        if (m_outgoingBytes <= k_most_outgoing_bytes)
            return true;
    }
    Cancel("the Master does not read what it is sent");
    return true;
}

void GrpcStream::Cancel(const String &reason)
{
    {
        const std::lock_guard lock(m_mutex);
        if (m_reason.empty())
            m_reason = reason;
    }
    m_context.TryCancel();
}

void GrpcStream::WriteAll()
{
    wire::Envelope envelope = Greeting();
    do
    {
        if (!m_stream->Write(envelope))
            return;
    } while (TakeNext(envelope));
}

bool GrpcStream::TakeNext(wire::Envelope &envelope)
{
    Lock lock(m_mutex);
    m_changed.wait(lock, [this] { return m_isReadingOver || !m_outgoing.empty(); });
    if (m_isReadingOver)
        return false;
    envelope = std::move(m_outgoing.front());
    m_outgoing.pop_front();
    m_outgoingBytes -= envelope.ByteSizeLong();
    return true;
}

void GrpcStream::ReadAll()
{
    if (!ReadWelcome())
        return;
    wire::Envelope envelope;
    while (m_stream->Read(&envelope))
        PassOn(envelope);
}

bool GrpcStream::ReadWelcome()
{
    wire::Envelope envelope;
    if (!m_stream->Read(&envelope))
        return false;
    UID master;
    if (!envelope.has_welcome() || !master.FromString(envelope.welcome().master()))
    {
        Cancel("the Master did not answer the greeting with its own");
        return false;
    }

    ostrel::LogStatus("Connected to the Master " + master.ToString() + " (version " +
                      Excerpt(envelope.welcome().version()) + ") at " + m_settings.address.text);
    {
        const std::lock_guard lock(m_mutex);
        m_isWelcome = true;
        m_changed.notify_all();
    }
    m_callbacks.connected();
    return true;
}

void GrpcStream::PassOn(const wire::Envelope &envelope)
{
    String reason;
    if (auto message = MessageFactory::FromEnvelope(envelope, &reason))
        m_callbacks.received(std::move(message));
    else
        ostrel::LogError("a message of the Master is refused: " + reason);
}

void GrpcStream::WatchClock()
{
    Lock lock(m_mutex);
    const bool isAnswered = m_changed.wait_for(lock, m_settings.timing.greeting,
                                               [this] { return m_isWelcome || m_isReadingOver; });
    if (!isAnswered)
    {
        lock.unlock();
        Cancel("no answer within " + std::to_string(m_settings.timing.greeting.count()) + " ms");
        lock.lock();
    }
    m_changed.wait(lock, [this] { return m_isReadingOver; });
    if (m_changed.wait_for(lock, k_farewell, [this] { return m_isFinished; }))
        return;
    // Reading ended and the stream did not: what came was no envelope.
    lock.unlock();
    Cancel("the Master sent what cannot be read");
}

void GrpcStream::EndReading()
{
    const std::lock_guard lock(m_mutex);
    m_isReadingOver = true;
    m_changed.notify_all();
}

wire::Envelope GrpcStream::Greeting() const
{
    wire::Envelope envelope;
    wire::Hello &hello = *envelope.mutable_hello();
    hello.set_client(m_settings.identity.id.ToString());
    hello.set_kind(m_settings.identity.kind);
    hello.set_program(m_settings.identity.program);
    hello.set_version(m_settings.identity.version);
    hello.set_token(m_settings.security.token);
    return envelope;
}

} // namespace corvan
