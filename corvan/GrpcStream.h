#pragma once

#include <condition_variable>
#include <deque>
#include <grpcpp/client_context.h>
#include <grpcpp/support/client_callback.h>
#include <mutex>

#include "corvan/GrpcLink.h"
#include "corvan/messages.grpc.pb.h"

namespace corvan
{

/// One connection of a link, from the attempt to its end.
///
/// gRPC's threads only note what is done, so that they keep the connection alive whatever the
/// program is at; the caller of `Run` calls the link's callbacks, and the next message is read when
/// they are through with the one before.
class GrpcStream : private grpc::ClientBidiReactor<wire::Envelope, wire::Envelope>
{
public:
    struct Outcome
    {
        bool wasConnected = false; ///< The Master's Welcome came.
        bool isNobodyThere = false;
        bool isTurnedAway = false; ///< Somebody is there, and it comes to no connection with them.
        String reason;
    };

    /// Both must outlive the stream. Throws `ostrel::Exception *` for settings that cannot be.
    GrpcStream(const GrpcLink::Settings &settings, const Link::Callbacks &callbacks);

    /// Connects, greets, and passes on what the Master sends until the connection ends. Once.
    Outcome Run();

    /// Queues an envelope. False while the Master has not answered the greeting, and after the end.
    bool Send(wire::Envelope envelope);

    /// Ends it soon, whatever it is at; also before `Run`. Any thread.
    void Cancel(const String &reason);

private:
    using Lock = std::unique_lock<std::mutex>;

    void OnReadDone(bool isFine) override;
    void OnWriteDone(bool isFine) override;
    void OnDone(const grpc::Status &status) override;

    void Open();
    bool ReadWelcome();
    bool CheckProtocol(const wire::Welcome &welcome);
    bool WaitForRead(LinkTiming::Milliseconds atMost);
    bool WaitForRead();
    void ReadNext();
    void PassOn();
    void PassOn(const wire::Envelope &envelope);
    void WriteNext();
    void Close();
    Outcome MakeOutcome() const;
    wire::Envelope Greeting() const;

    const GrpcLink::Settings &m_settings;
    const Link::Callbacks &m_callbacks;
    std::shared_ptr<grpc::Channel> m_channel;
    std::unique_ptr<wire::Master::Stub> m_stub;
    grpc::ClientContext m_context;
    wire::Envelope m_incoming; // Belongs to gRPC between StartRead and OnReadDone.

    std::mutex m_mutex; // Guards all below.
    std::condition_variable m_changed;
    std::deque<wire::Envelope> m_outgoing; // The first is being written while m_isWriting.
    std::size_t m_outgoingBytes = 0;
    bool m_isWriting = false;
    bool m_hasRead = false;
    bool m_isReadingOver = false;
    bool m_isWelcome = false;
    bool m_isTooOld = false;
    bool m_isDone = false;
    grpc::Status m_status;
    String m_reason;
};

} // namespace corvan
