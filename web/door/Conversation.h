#pragma once

#include <array>
#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "web/door/RequestReader.h"
#include "web/door/Routes.h"
#include "web/door/Served.h"
#include "web/door/StreamQueue.h"
#include "web/door/Target.h"
#include "web/door/Wire.h"

namespace web
{

/// One connection: its requests, one after the other, and their answers; at last perhaps a stream
/// of events. Loop thread.
class Conversation : public std::enable_shared_from_this<Conversation>
{
public:
    using Clock = std::chrono::steady_clock;

    /// `refusal` is what all its requests are answered with; of status 0 where they are served.
    Conversation(boost::asio::io_context &loop, std::shared_ptr<Served> served,
                 std::unique_ptr<Wire> wire, const String &peer, const Refusal &refusal);

    void Begin();
    /// At once; a stream's owner is told.
    void Close();
    /// The same, and nobody is told: the server ends.
    void Drop();

    const String &Peer() const
    {
        return m_peer;
    }
    /// Whether its next step is the peer's, of whom nobody knows who he is.
    bool IsWaiting() const;
    Clock::time_point WaitingSince() const
    {
        return m_waitingSince;
    }
    bool IsStream() const
    {
        return m_stage == Stage::Streaming;
    }
    bool IsStreamOf(const String &session) const
    {
        return IsStream() && m_caller && m_caller->session == session;
    }

private:
    class Stream;
    class Pending;

    enum class Stage
    {
        Opening,  ///< TLS, if any.
        Idle,     ///< Nothing of a request is there.
        Reading,  ///< A part of one is.
        Asking,   ///< Whose it is.
        Handling, ///< By the handler of its route.
        Answering,
        Streaming,
        Finishing, ///< All is written; the peer takes it.
        Closed,
    };

    void ReadMore();
    void OnBytes(const Wire::Error &error, std::size_t count);
    void Go();
    void GoToBody();
    void OnHead();
    void OnKnown(const std::shared_ptr<const Caller> &caller, const Refusal &refusal);
    void AllowBody();
    void Handle();
    void BeginStream(const std::shared_ptr<const Request> &request);

    void Refuse(const Refusal &refusal);
    void RefuseBody();
    void Answer(Response response);
    void WriteAnswer();
    void OnAnswered();
    void Finish();

    void SendEvent(SharedText event);
    void WriteEvents();
    void ReadNothing();

    void SetDeadline(std::chrono::milliseconds within);
    void WaitForDeadline();
    void OnLate();

    boost::asio::io_context &m_loop;
    const std::shared_ptr<Served> m_served;
    const std::unique_ptr<Wire> m_wire;
    const String m_peer;
    const Refusal m_welcome;
    Stage m_stage = Stage::Opening;
    Clock::time_point m_waitingSince = Clock::now();

    boost::asio::steady_timer m_timer;
    Clock::time_point m_deadline;
    bool m_isTimed = false; // The timer runs, and ends no later than the deadline.

    std::array<char, 8192> m_room{};
    RequestReader m_reader;
    Target m_target;
    Method m_method = Method::Get;
    const Routes::Route *m_route = nullptr;
    Routes::Found m_found;
    std::shared_ptr<const Caller> m_caller;
    std::uint64_t m_number = 0; // Of the request: an answer to another one comes too late.
    bool m_isHeadRead = false;
    bool m_isLast = false; // What comes after this request cannot be read.

    std::string m_answerHead;
    std::shared_ptr<const std::string> m_answerBody; // Null for none.
    std::size_t m_written = 0;                       // Of the body.
    bool m_isHeadWritten = false;

    std::shared_ptr<Stream> m_stream; // Shared with whoever tells the events.
    StreamQueue m_queue;
    std::vector<SharedText> m_sent; // Under way.
};

} // namespace web
