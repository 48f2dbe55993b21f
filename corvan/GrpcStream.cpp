#include "corvan/GrpcStream.h"

#include "corvan/Gathered.h"
#include "corvan/GrpcChannel.h"
#include "corvan/MessageFactory.h"
#include "corvan/Protocol.h"
#include "corvan/Utf8.h"
#include "ostrel/Log.h"

namespace corvan
{

namespace
{

constexpr std::size_t k_most_outgoing_bytes = 64u << 20;

// A stream that can no longer be read has this long to tell its status.
constexpr std::chrono::milliseconds k_farewell{1000};

/// Why a connection ended before it was one, where somebody is there: the Master's own words, or
/// what is wrong with its certificate. Empty for a Master that is away, or that may answer yet.
String TurnedAwayReason(const grpc::Status &status)
{
    const String text = MakeUtf8(status.error_message());
    const auto says = [&](const char *words) { return text.find(words) != String::npos; };
    switch (status.error_code())
    {
    case grpc::StatusCode::UNAUTHENTICATED:
    case grpc::StatusCode::PERMISSION_DENIED:
    case grpc::StatusCode::RESOURCE_EXHAUSTED:
    case grpc::StatusCode::INVALID_ARGUMENT:
        return text;
    case grpc::StatusCode::UNIMPLEMENTED:
        return "what answers there is no Master";
    case grpc::StatusCode::UNAVAILABLE:
        // gRPC has no status of its own for what is wrong with TLS.
        if (says("is not in peer certificate"))
            return "its certificate is not made out to that name";
        if (says("certificate verify failed") || says("CERTIFICATE_VERIFY_FAILED"))
            return "its certificate is another than the one of key Certificate, section Master";
        if (says("Ssl handshake failed") || says("WRONG_VERSION_NUMBER"))
            return "what answers there does not speak TLS as a Master does";
        return {};
    default:
        return {};
    }
}

} // namespace

GrpcStream::GrpcStream(const GrpcLink::Settings &settings, const Link::Callbacks &callbacks)
    : m_settings(settings), m_callbacks(callbacks), m_channel(MakeChannel(settings)),
      m_stub(wire::Master::NewStub(m_channel))
{
}

GrpcStream::Outcome GrpcStream::Run()
{
    Open();
    if (ReadWelcome())
        for (ReadNext(); WaitForRead(); ReadNext())
            PassOn();
    Close();
    return MakeOutcome();
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
        WriteNext();
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

void GrpcStream::OnReadDone(bool isFine)
{
    const std::lock_guard lock(m_mutex);
    m_hasRead = isFine;
    m_isReadingOver = !isFine;
    m_changed.notify_all();
}

void GrpcStream::OnWriteDone(bool isFine)
{
    const std::lock_guard lock(m_mutex);
    m_isWriting = false;
    m_outgoingBytes -= m_outgoing.front().ByteSizeLong();
    m_outgoing.pop_front();
    if (isFine)
        WriteNext();
}

void GrpcStream::OnDone(const grpc::Status &status)
{
    const std::lock_guard lock(m_mutex);
    m_status = status;
    m_isDone = true;
    m_changed.notify_all();
}

void GrpcStream::Open()
{
    if (m_settings.address.kind == MasterAddress::Kind::Tcp)
        m_context.AddMetadata(k_TokenMetadata, m_settings.security.token);
    m_stub->async()->Connect(&m_context, this);
    // Reads and writes are started from outside of gRPC's own calls, until `Close`.
    AddHold();
    StartCall();
    {
        const std::lock_guard lock(m_mutex);
        m_outgoing.push_back(Greeting());
        m_outgoingBytes = m_outgoing.front().ByteSizeLong();
        WriteNext();
    }
    ReadNext();
}

/// With the lock held.
void GrpcStream::WriteNext()
{
    if (m_isWriting || m_outgoing.empty() || m_isReadingOver)
        return;
    m_isWriting = true;
    StartWrite(&m_outgoing.front());
}

void GrpcStream::ReadNext()
{
    {
        const std::lock_guard lock(m_mutex);
        m_hasRead = false;
    }
    StartRead(&m_incoming);
}

/// False when nothing more comes.
bool GrpcStream::WaitForRead()
{
    Lock lock(m_mutex);
    m_changed.wait(lock, [this] { return m_hasRead || m_isReadingOver; });
    return m_hasRead;
}

/// The same; a Master that takes longer is left.
bool GrpcStream::WaitForRead(LinkTiming::Milliseconds atMost)
{
    {
        Lock lock(m_mutex);
        if (m_changed.wait_for(lock, atMost, [this] { return m_hasRead || m_isReadingOver; }))
            return m_hasRead;
    }
    Cancel("no answer within " + std::to_string(atMost.count()) + " ms");
    WaitForRead();
    return false;
}

bool GrpcStream::ReadWelcome()
{
    if (!WaitForRead(m_settings.timing.greeting))
        return false;
    UID master;
    if (!m_incoming.has_welcome() || !master.FromString(m_incoming.welcome().master()))
    {
        Cancel("the Master did not answer the greeting with its own");
        return false;
    }

    if (!CheckProtocol(m_incoming.welcome()))
        return false;
    ostrel::LogStatus("Connected to the Master " + master.ToString() + " (version " +
                      Excerpt(m_incoming.welcome().version()) + ") at " + m_settings.address.text);
    {
        const std::lock_guard lock(m_mutex);
        m_isWelcome = true;
    }
    if (m_callbacks.welcomed)
        m_callbacks.welcomed(
            {MakeUtf8(m_incoming.welcome().user()), MakeUtf8(m_incoming.welcome().role())});
    m_callbacks.connected();
    return true;
}

/// Says what differs; false for a Master that is too old.
bool GrpcStream::CheckProtocol(const wire::Welcome &welcome)
{
    const unsigned theirs = ProtocolOf(welcome.protocol());
    const String difference = ProtocolDifference(theirs, k_Protocol);
    const String beginning = "the Master at " + m_settings.address.text + ", version " +
                             Excerpt(welcome.version()) + ", speaks protocol " +
                             std::to_string(theirs);
    if (theirs < m_settings.leastProtocol)
    {
        {
            const std::lock_guard lock(m_mutex);
            m_isTooOld = true;
        }
        Cancel(beginning + ", and this program takes " + std::to_string(m_settings.leastProtocol) +
               " and newer: install a newer Master");
        return false;
    }
    if (!difference.empty())
        ostrel::LogWarning(beginning + ", this program " + std::to_string(k_Protocol) + "; " +
                           difference);
    return true;
}

void GrpcStream::PassOn()
{
    if (!IsGathered(m_incoming))
        return PassOn(m_incoming);
    String reason;
    const auto parts = TakeApart(m_incoming, &reason);
    // Whoever left out some of them would go on with half the news.
    if (!parts)
        return Cancel("the Master sent what cannot be read: " + reason);
    for (const wire::Envelope &part : *parts)
        PassOn(part);
}

void GrpcStream::PassOn(const wire::Envelope &envelope)
{
    String reason;
    if (auto message = MessageFactory::FromEnvelope(envelope, &reason))
        m_callbacks.received(std::move(message));
    else
        ostrel::LogError("a message of the Master is refused: " + reason);
}

/// Waits until gRPC is done with this stream.
void GrpcStream::Close()
{
    {
        const std::lock_guard lock(m_mutex);
        m_isReadingOver = true; // No write is started any more.
    }
    RemoveHold();
    Lock lock(m_mutex);
    if (m_changed.wait_for(lock, k_farewell, [this] { return m_isDone; }))
        return;
    lock.unlock();
    // Reading ended and the stream did not: what came was no envelope.
    Cancel("the Master sent what cannot be read");
    lock.lock();
    m_changed.wait(lock, [this] { return m_isDone; });
}

GrpcStream::Outcome GrpcStream::MakeOutcome() const
{
    Outcome outcome;
    outcome.wasConnected = m_isWelcome;
    outcome.isNobodyThere = !m_isWelcome &&
                            m_status.error_code() == grpc::StatusCode::UNAVAILABLE &&
                            m_channel->GetState(false) != GRPC_CHANNEL_READY;
    outcome.reason = m_reason;
    outcome.isTurnedAway = m_isTooOld;
    if (!m_isWelcome && outcome.reason.empty())
    {
        outcome.reason = TurnedAwayReason(m_status);
        outcome.isTurnedAway = !outcome.reason.empty();
    }
    if (outcome.reason.empty())
        outcome.reason = MakeUtf8(m_status.error_message());
    if (outcome.reason.empty())
        outcome.reason = "the Master ended it";
    return outcome;
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
    hello.set_protocol(k_Protocol);
    return envelope;
}

} // namespace corvan
