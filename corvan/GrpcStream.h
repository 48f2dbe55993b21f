#pragma once

#include <condition_variable>
#include <deque>
#include <grpcpp/client_context.h>
#include <mutex>

#include "corvan/GrpcLink.h"
#include "corvan/messages.grpc.pb.h"

namespace corvan
{

/// One connection of a link, from the attempt to its end.
///
/// It has a thread that reads and one that writes, while the caller of `Run` watches the clock. All
/// three are over when `Run` returns.
class GrpcStream
{
public:
    struct Outcome
    {
        bool wasConnected = false; ///< The Master's Welcome came.
        bool isNobodyThere = false;
        String reason;
    };

    /// Both must outlive the stream. Throws `ostrel::Exception *` for settings that cannot be.
    GrpcStream(const GrpcLink::Settings &settings, const Link::Callbacks &callbacks);

    /// Connects, greets, and passes on what the Master sends until the connection ends.
    Outcome Run();

    /// Queues an envelope. False while the Master has not answered the greeting, and after the end.
    bool Send(wire::Envelope envelope);

    /// Ends it soon, whatever it is at; also before `Run`. Any thread.
    void Cancel(const String &reason);

private:
    using Lock = std::unique_lock<std::mutex>;

    void WriteAll();
    bool TakeNext(wire::Envelope &envelope);
    void ReadAll();
    bool ReadWelcome();
    void PassOn(const wire::Envelope &envelope);
    void WatchClock();
    void EndReading();
    wire::Envelope Greeting() const;

    const GrpcLink::Settings &m_settings;
    const Link::Callbacks &m_callbacks;
    std::shared_ptr<grpc::Channel> m_channel;
    std::unique_ptr<wire::Master::Stub> m_stub;
    grpc::ClientContext m_context;
    std::unique_ptr<grpc::ClientReaderWriter<wire::Envelope, wire::Envelope>> m_stream;

    std::mutex m_mutex; // Guards all below.
    std::condition_variable m_changed;
    std::deque<wire::Envelope> m_outgoing;
    std::size_t m_outgoingBytes = 0;
    bool m_isWelcome = false;
    bool m_isReadingOver = false;
    bool m_isFinished = false;
    String m_reason;
};

} // namespace corvan
