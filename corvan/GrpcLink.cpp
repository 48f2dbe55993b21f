#include "corvan/GrpcLink.h"

#include <cassert>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "corvan/GrpcChannel.h"
#include "corvan/GrpcStream.h"
#include "corvan/Limits.h"
#include "corvan/MessageFactory.h"
#include "corvan/ReconnectPause.h"
#include "ostrel/Exception.h"
#include "ostrel/Log.h"

namespace corvan
{

/// The thread that makes one connection after the other until the link is stopped.
class GrpcLink::Worker
{
public:
    explicit Worker(Settings settings) : m_settings(std::move(settings)), m_pause(m_settings.timing)
    {
    }

    void Start(Callbacks callbacks);
    void Send(const Message &message);
    void Stop();

private:
    using Clock = std::chrono::steady_clock;

    void Run();
    GrpcStream::Outcome RunOnce();
    std::shared_ptr<GrpcStream> MakeStream();
    void LogFailure(const String &reason);
    bool Wait(LinkTiming::Milliseconds pause);
    bool IsStopping();

    const Settings m_settings;
    Callbacks m_callbacks;
    ReconnectPause m_pause;
    String m_lastReason;

    std::mutex m_mutex; // Guards the two below.
    bool m_isStopping = false;
    std::shared_ptr<GrpcStream> m_stream; // Shared with a `Send` that is under way.
    std::condition_variable m_stopped;
    std::thread m_thread;
};

void GrpcLink::Worker::Start(Callbacks callbacks)
{
    assert(!m_thread.joinable() && "a link is started once");
    m_callbacks = std::move(callbacks);
    m_thread = std::thread([this] { Run(); });
}

void GrpcLink::Worker::Stop()
{
    std::shared_ptr<GrpcStream> stream;
    {
        const std::lock_guard lock(m_mutex);
        m_isStopping = true;
        stream = m_stream;
        m_stopped.notify_all();
    }
    if (stream)
        stream->Cancel("the link is stopped");
    if (m_thread.joinable())
        m_thread.join();
}

void GrpcLink::Worker::Send(const Message &message)
{
    wire::Envelope envelope;
    MessageFactory::ToEnvelope(message, envelope);
    if (envelope.ByteSizeLong() > k_MaxMessageBytes)
    {
        ostrel::LogError(String(message.TypeName()) + " is not sent: it is larger than 16 MiB");
        return;
    }

    std::shared_ptr<GrpcStream> stream;
    {
        const std::lock_guard lock(m_mutex);
        stream = m_stream;
    }
    if (!stream || !stream->Send(std::move(envelope)))
        ostrel::LogWarning(String("not connected to the Master: ") + message.TypeName() +
                           " is not sent");
}

void GrpcLink::Worker::Run()
{
    do
    {
        const auto begin = Clock::now();
        const GrpcStream::Outcome outcome = RunOnce();
        if (IsStopping())
            return;

        auto lived = LinkTiming::Milliseconds(0);
        if (outcome.wasConnected)
        {
            lived = std::chrono::duration_cast<LinkTiming::Milliseconds>(Clock::now() - begin);
            m_lastReason.clear();
            m_callbacks.disconnected(outcome.reason);
        }
        else
            LogFailure(outcome.reason);
        if (outcome.isTurnedAway && m_callbacks.turnedAway)
            m_callbacks.turnedAway(outcome.reason);
        if (outcome.isNobodyThere && m_settings.nobodyThere)
            m_settings.nobodyThere();
        if (!Wait(m_pause.Next(lived)))
            return;
    } while (true);
}

GrpcStream::Outcome GrpcLink::Worker::RunOnce()
{
    try
    {
        const auto stream = MakeStream();
        if (!stream)
            return {};
        auto outcome = stream->Run();
        const std::lock_guard lock(m_mutex);
        m_stream.reset();
        return outcome;
    }
    catch (ostrel::Exception *raw)
    {
        const std::unique_ptr<ostrel::Exception> error(raw);
        // A certificate that cannot be read: no Master is at fault, and no other attempt helps.
        return {false, false, true, error->Text()};
    }
}

/// Null where the link is stopped meanwhile.
std::shared_ptr<GrpcStream> GrpcLink::Worker::MakeStream()
{
    auto stream = std::make_shared<GrpcStream>(m_settings, m_callbacks);
    const std::lock_guard lock(m_mutex);
    if (m_isStopping)
        return nullptr;
    m_stream = stream;
    return stream;
}

/// Says a reason aloud when it is new; a Master that is away for the night fills no log.
void GrpcLink::Worker::LogFailure(const String &reason)
{
    const String line = "No connection to the Master at " + m_settings.address.text + ": " + reason;
    const bool isNews = reason != m_lastReason && !m_settings.nobodyThere;
    m_lastReason = reason;
    ostrel::Log(isNews ? ostrel::k_LogWarning : ostrel::k_LogInfo, line);
}

/// False when the link is stopped.
bool GrpcLink::Worker::Wait(LinkTiming::Milliseconds pause)
{
    std::unique_lock lock(m_mutex);
    return !m_stopped.wait_for(lock, pause, [this] { return m_isStopping; });
}

bool GrpcLink::Worker::IsStopping()
{
    const std::lock_guard lock(m_mutex);
    return m_isStopping;
}

namespace
{

void RequireSecurity(const GrpcLink::Settings &settings)
{
    const bool isComplete =
        !settings.security.certificate.IsEmpty() && !settings.security.token.empty();
    if (settings.address.kind == MasterAddress::Kind::Tcp && !isComplete)
        throw new ostrel::Exception("cannot connect to " + settings.address.text +
                                    ": TCP needs a certificate and a token (keys Certificate and "
                                    "TokenFile of the options section \"Master\")");
}

} // namespace

GrpcLink::GrpcLink(Settings settings)
{
    RequireSecurity(settings);
    m_worker = std::make_unique<Worker>(std::move(settings));
    RouteGrpcLog();
}

GrpcLink::~GrpcLink()
{
    Stop();
}

void GrpcLink::Start(Callbacks callbacks)
{
    m_worker->Start(std::move(callbacks));
}

void GrpcLink::Send(const boost::shared_ptr<Message> &message)
{
    m_worker->Send(*message);
}

void GrpcLink::Stop()
{
    m_worker->Stop();
}

} // namespace corvan
