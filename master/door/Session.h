#pragma once

#include <deque>
#include <grpcpp/grpcpp.h>
#include <memory>
#include <mutex>
#include <vector>

#include "corvan/messages.grpc.pb.h"
#include "master/door/Courier.h"
#include "master/door/Packed.h"
#include "master/door/ServerSettings.h"
#include "ostrel/String.h"

namespace master
{

namespace wire = corvan::wire;
using ostrel::String;

/// True for a request whose answer may be as long as a message can be.
bool AsksForMuch(const wire::Envelope &envelope);

/// One client's stream.
///
/// gRPC's threads call the reactions, which only queue; the loop thread takes what came and gives
/// what goes. It holds itself until gRPC is done with it, and may be held longer.
class Session : public grpc::ServerBidiReactor<grpc::ByteBuffer, grpc::ByteBuffer>,
                public std::enable_shared_from_this<Session>
{
public:
    /// Whoever keeps the sessions. Called on any thread; must not call back.
    class Owner
    {
    public:
        virtual ~Owner() = default;
        /// Messages wait in the session, or it has room again to take them.
        virtual void OnIncoming(const std::shared_ptr<Session> &session) = 0;
        /// The stream is over. The last call for this session.
        virtual void OnGone(const std::shared_ptr<Session> &session) = 0;
    };

    /// When a message goes out, where the client takes several as one. Their order stays as it is.
    enum class Haste
    {
        AtOnce, ///< An answer, and with it whatever waits.
        InTurn, ///< News, which many others may be told as well.
    };

    /// Owner and courier outlive the stream.
    Session(Owner &owner, Courier &courier, grpc::CallbackServerContext &context,
            const ClientLimits &limits);

    /// Starts to read. Once.
    void Begin();

    /// The messages that have come, in order, up to the first that asks for much: what its answer
    /// leaves waiting to be written decides when the next ones are handled. None while too much
    /// waits. Makes room for more to be read.
    std::vector<wire::Envelope> TakeIncoming();

    /// Whether messages wait that can be taken. Where they have to wait for room, the owner is told
    /// when there is some.
    bool HasIncoming();

    /// The client takes several messages as one: from now on all that waits when it is written to
    /// goes out together, as far as `k_MaxGathered` and 256 KiB go. One that does not is sent one
    /// after the other, as fast as it goes.
    void BeginToGather();

    /// Queues a message, which may be shared with other sessions. False where the client leaves
    /// too much waiting.
    bool Send(std::shared_ptr<const Packed> message, Haste haste);

    /// The courier's word, who makes the message.
    void WriteInTurn(Gathering &gathering);

    /// Ends the stream, once all that was queued is written, where the client has said that it
    /// sends no more and all that it sent was taken.
    void EndIfClosed();

    /// Ends the stream once all that was queued is written.
    void End(const grpc::Status &status);

    /// Ends the stream now, whatever waits, with this status. What was read and not taken is gone.
    void Expel(const grpc::Status &status);

    /// Ends the stream now, whatever waits.
    void CutOff();

    void OnReadDone(bool ok) override;
    void OnWriteDone(bool ok) override;
    void OnCancel() override;
    void OnDone() override;

private:
    bool TakeRead();

    // All of these with the mutex held.
    void EndLocked(const grpc::Status &status);
    void ReadMore();
    void WriteMore(Gathering *gathering = nullptr);
    void WaitForTurn();
    std::size_t CountNext() const;
    void CancelCall(const grpc::Status &status);
    bool IsPaused() const;

    Owner &m_owner;
    Courier &m_courier;
    grpc::CallbackServerContext &m_context;
    const ClientLimits m_limits;
    std::shared_ptr<Session> m_self;

    std::mutex m_mutex;
    grpc::ByteBuffer m_reading;
    bool m_isReading = false;
    bool m_isClosed = false; ///< The client sends no more.
    struct Incoming
    {
        wire::Envelope envelope;
        std::size_t bytes;
    };
    std::deque<Incoming> m_in;
    std::size_t m_inBytes = 0;

    PackedQueue m_out; ///< What is being written stays until it is.
    std::size_t m_outBytes = 0;
    grpc::ByteBuffer m_writing; // Belongs to gRPC between StartWrite and OnWriteDone.
    std::size_t m_writingCount = 0;
    bool m_isWriting = false;
    bool m_isGathering = false;
    bool m_isHasty = false;  ///< Something that waits is to go at once.
    bool m_isInLine = false; ///< The courier will come.
    bool m_wasPaused = false;

    bool m_isEnding = false;
    bool m_isCutOff = false;
    bool m_isFinished = false;
    grpc::Status m_status;
};

} // namespace master
