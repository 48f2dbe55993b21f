#include "master/door/Session.h"

#include <grpc/grpc.h>

#include "corvan/Gathered.h"
#include "corvan/Limits.h"
#include "ostrel/CallEntry.h"

namespace master
{

using ostrel::_CallEntry;

namespace
{

// A message is read whole before any of it is used, and what one holds is in memory twice then.
constexpr std::size_t k_gathered_bytes = 256u << 10;
static_assert(2 * k_gathered_bytes < corvan::k_MaxMessageBytes);

} // namespace

bool AsksForMuch(const wire::Envelope &envelope)
{
    return envelope.has_get_job_info() || envelope.has_list_jobs() || envelope.has_get_tasks() ||
           envelope.has_get_task_log();
}

Session::Session(Owner &owner, Courier &courier, grpc::CallbackServerContext &context,
                 const ClientLimits &limits)
    : m_owner(owner), m_courier(courier), m_context(context), m_limits(limits)
{
    _CallEntry call("Session::Session", __FILE__, __LINE__);
}

void Session::Begin()
{
    _CallEntry call("Session::Begin", __FILE__, __LINE__);

    m_self = shared_from_this();
    const std::lock_guard lock(m_mutex);
    ReadMore();
}

std::vector<wire::Envelope> Session::TakeIncoming()
{
    _CallEntry call("Session::TakeIncoming", __FILE__, __LINE__);

    const std::lock_guard lock(m_mutex);
    m_wasPaused = IsPaused();
    if (m_wasPaused)
        return {};

    std::vector<wire::Envelope> taken;
    while (!m_in.empty() && (taken.empty() || !AsksForMuch(taken.back())))
    {
        m_inBytes -= m_in.front().bytes;
        taken.push_back(std::move(m_in.front().envelope));
        m_in.pop_front();
    }
    ReadMore();
    return taken;
}

bool Session::HasIncoming()
{
    _CallEntry call("Session::HasIncoming", __FILE__, __LINE__);

    const std::lock_guard lock(m_mutex);
    m_wasPaused = IsPaused();
    return !m_wasPaused && !m_in.empty();
}

// A client that is gone may still have sent something worth doing.
bool Session::IsPaused() const
{
    _CallEntry call("Session::IsPaused", __FILE__, __LINE__);

    return !m_isEnding &&
           (m_outBytes > m_limits.outPauseBytes || m_out.size() > m_limits.outPauseMessages);
}

void Session::ReadMore()
{
    _CallEntry call("Session::ReadMore", __FILE__, __LINE__);

    if (m_isReading || m_isClosed || m_isEnding)
        return;
    if (m_in.size() >= m_limits.inMessages || m_inBytes >= m_limits.inBytes)
        return;
    m_isReading = true;
    m_reading.Clear();
    StartRead(&m_reading);
}

void Session::OnReadDone(bool ok)
{
    _CallEntry call("Session::OnReadDone", __FILE__, __LINE__);

    {
        const std::lock_guard lock(m_mutex);
        m_isReading = false;
        if (!ok)
            m_isClosed = true;
        else if (!TakeRead())
            EndLocked({grpc::StatusCode::INVALID_ARGUMENT, "the message cannot be read"});
        else
            ReadMore();
    }
    m_owner.OnIncoming(shared_from_this());
}

bool Session::TakeRead()
{
    _CallEntry call("Session::TakeRead", __FILE__, __LINE__);

    const std::size_t bytes = m_reading.Length();
    wire::Envelope envelope;
    if (!grpc::SerializationTraits<wire::Envelope>::Deserialize(&m_reading, &envelope).ok())
        return false;
    // Only the Master has so much to say.
    if (corvan::IsGathered(envelope))
        return false;
    m_inBytes += bytes;
    m_in.push_back({std::move(envelope), bytes});
    return true;
}

void Session::BeginToGather()
{
    _CallEntry call("Session::BeginToGather", __FILE__, __LINE__);

    const std::lock_guard lock(m_mutex);
    m_isGathering = true;
}

bool Session::Send(std::shared_ptr<const Packed> message, Haste haste)
{
    _CallEntry call("Session::Send", __FILE__, __LINE__);

    const std::lock_guard lock(m_mutex);
    if (m_isEnding || m_isFinished)
        return true;

    m_outBytes += message->Bytes();
    m_out.push_back(std::move(message));
    const bool isTooMuch = m_out.size() > m_limits.outMessages || m_outBytes > m_limits.outBytes;
    m_isHasty = m_isHasty || haste == Haste::AtOnce || !m_isGathering;
    if (m_isHasty)
        WriteMore();
    else
        WaitForTurn();
    return !isTooMuch;
}

void Session::WaitForTurn()
{
    _CallEntry call("Session::WaitForTurn", __FILE__, __LINE__);

    // Whoever is being written to goes to the end of the line when that is done.
    if (m_isWriting || m_isInLine)
        return;
    m_isInLine = true;
    m_courier.Join(shared_from_this());
}

void Session::WriteInTurn(Gathering &gathering)
{
    _CallEntry call("Session::WriteInTurn", __FILE__, __LINE__);

    const std::lock_guard lock(m_mutex);
    m_isInLine = false;
    WriteMore(&gathering);
}

// How many of those that wait the next message holds.
std::size_t Session::CountNext() const
{
    _CallEntry call("Session::CountNext", __FILE__, __LINE__);

    if (!m_isGathering)
        return 1;
    const std::size_t most = std::min(m_out.size(), corvan::k_MaxGathered);
    std::size_t bytes = m_out.front()->Bytes();
    std::size_t count = 1;
    while (count < most && (bytes += m_out[count]->Bytes()) <= k_gathered_bytes)
        ++count;
    return count;
}

void Session::WriteMore(Gathering *gathering)
{
    _CallEntry call("Session::WriteMore", __FILE__, __LINE__);

    if (m_isWriting || m_isFinished)
        return;
    if (!m_out.empty() && !m_isCutOff)
    {
        m_isWriting = true;
        m_writingCount = CountNext();
        m_isHasty = m_isHasty && m_writingCount < m_out.size();
        m_writing = gathering ? gathering->Take(m_out, m_writingCount)
                              : Packed::Gather(m_out, m_writingCount);
        StartWrite(&m_writing);
        return;
    }
    if (m_isEnding)
    {
        m_isFinished = true;
        Finish(m_status);
    }
}

void Session::OnWriteDone(bool ok)
{
    _CallEntry call("Session::OnWriteDone", __FILE__, __LINE__);

    bool hasRoomAgain = false;
    {
        const std::lock_guard lock(m_mutex);
        m_isWriting = false;
        m_writing.Clear();
        for (; m_writingCount > 0; --m_writingCount)
        {
            m_outBytes -= m_out.front()->Bytes();
            m_out.pop_front();
        }
        if (!ok)
            m_isEnding = m_isCutOff = true;
        if (m_isEnding || m_isHasty)
            WriteMore();
        else if (!m_out.empty())
            WaitForTurn();
        hasRoomAgain = m_wasPaused && !IsPaused();
        if (hasRoomAgain)
            m_wasPaused = false;
    }
    if (hasRoomAgain)
        m_owner.OnIncoming(shared_from_this());
}

void Session::End(const grpc::Status &status)
{
    _CallEntry call("Session::End", __FILE__, __LINE__);

    const std::lock_guard lock(m_mutex);
    EndLocked(status);
}

void Session::EndIfClosed()
{
    _CallEntry call("Session::EndIfClosed", __FILE__, __LINE__);

    const std::lock_guard lock(m_mutex);
    if (m_isClosed && m_in.empty())
        EndLocked(grpc::Status::OK);
}

void Session::EndLocked(const grpc::Status &status)
{
    _CallEntry call("Session::EndLocked", __FILE__, __LINE__);

    if (m_isEnding)
        return;
    m_isEnding = true;
    m_status = status;
    WriteMore();
}

void Session::Expel(const grpc::Status &status)
{
    _CallEntry call("Session::Expel", __FILE__, __LINE__);

    const std::lock_guard lock(m_mutex);
    m_in.clear();
    m_inBytes = 0;
    m_isCutOff = true;
    // One that does not read would stay.
    if (m_isWriting)
        CancelCall(status);
    EndLocked(status);
}

void Session::CutOff()
{
    _CallEntry call("Session::CutOff", __FILE__, __LINE__);

    const std::lock_guard lock(m_mutex);
    if (m_isFinished)
        return;
    m_isEnding = m_isCutOff = true;
    m_status = grpc::Status(grpc::StatusCode::RESOURCE_EXHAUSTED, "too much is left unread");
    CancelCall(m_status);
    WriteMore();
}

// The context's own way to cancel tells the client of no reason, and to finish the call waits for
// what is being written.
void Session::CancelCall(const grpc::Status &status)
{
    _CallEntry call("Session::CancelCall", __FILE__, __LINE__);

    ::grpc_call_cancel_with_status(m_context.c_call(), grpc_status_code(status.error_code()),
                                   status.error_message().c_str(), nullptr);
}

void Session::OnCancel()
{
    _CallEntry call("Session::OnCancel", __FILE__, __LINE__);

    const std::lock_guard lock(m_mutex);
    m_isEnding = m_isCutOff = true;
    WriteMore();
}

void Session::OnDone()
{
    _CallEntry call("Session::OnDone", __FILE__, __LINE__);

    const std::shared_ptr<Session> self = std::move(m_self);
    m_owner.OnGone(self);
}

} // namespace master
