#include "web/door/Conversation.h"

#include <algorithm>
#include <boost/asio/dispatch.hpp>
#include <boost/asio/post.hpp>
#include <ctime>

#include "ostrel/CallEntry.h"
#include "ostrel/Log.h"
#include "web/door/AnswerText.h"
#include "web/door/HttpError.h"

namespace web
{

using ostrel::_CallEntry;

namespace
{

constexpr std::size_t k_piece_bytes = 256u << 10; // Of an answer; each has its time.
constexpr std::size_t k_events_bytes = 64u << 10;
constexpr std::chrono::seconds k_finish_within{2};

} // namespace

/// What tells a page of a conversation. Whoever keeps it may do so longer than there is one.
class Conversation::Stream : public EventStream
{
public:
    Stream(boost::asio::io_context &loop, std::weak_ptr<Conversation> conversation)
        : m_loop(loop), m_conversation(std::move(conversation))
    {
    }

    void Send(const std::shared_ptr<const std::string> &event) override
    {
        if (const auto conversation = m_conversation.lock(); conversation && !m_isOver)
            conversation->SendEvent(event);
    }
    bool IsDrained() const override
    {
        const auto conversation = m_conversation.lock();
        return !conversation || m_isOver ||
               (conversation->m_queue.IsEmpty() && conversation->m_sent.empty());
    }
    void OnClosed(std::function<void()> closed) override
    {
        if (m_isOver)
            boost::asio::post(m_loop, std::move(closed));
        else
            m_closed = std::move(closed);
    }
    void Close() override
    {
        if (const auto conversation = m_conversation.lock(); conversation && !m_isOver)
            conversation->Close();
    }

    void End()
    {
        m_isOver = true;
        if (m_closed)
            boost::asio::post(m_loop, std::exchange(m_closed, nullptr));
    }
    void Forget()
    {
        m_isOver = true;
        m_closed = nullptr;
    }

private:
    boost::asio::io_context &m_loop;
    const std::weak_ptr<Conversation> m_conversation;
    std::function<void()> m_closed;
    bool m_isOver = false;
};

/// The answer that a handler owes. It may give it, or drop it, on any thread.
class Conversation::Pending
{
public:
    Pending(Conversation &conversation)
        : m_loop(conversation.m_loop), m_conversation(conversation.weak_from_this()),
          m_number(conversation.m_number)
    {
    }
    ~Pending()
    {
        Give(ErrorResponse(500, "no answer was made"));
    }
    Pending(const Pending &) = delete;
    Pending &operator=(const Pending &) = delete;

    void Give(Response response)
    {
        if (std::exchange(m_isGiven, true))
            return;
        boost::asio::dispatch(
            m_loop,
            [weak = m_conversation, number = m_number, response = std::move(response)]() mutable
            {
                const auto conversation = weak.lock();
                if (conversation && conversation->m_number == number &&
                    conversation->m_stage == Stage::Handling)
                    conversation->Answer(std::move(response));
            });
    }

private:
    boost::asio::io_context &m_loop;
    const std::weak_ptr<Conversation> m_conversation;
    const std::uint64_t m_number;
    bool m_isGiven = false;
};

Conversation::Conversation(boost::asio::io_context &loop, std::shared_ptr<Served> served,
                           std::unique_ptr<Wire> wire, const String &peer, const Refusal &refusal)
    : m_loop(loop), m_served(std::move(served)), m_wire(std::move(wire)), m_peer(peer),
      m_welcome(refusal), m_timer(loop),
      m_reader(m_served->limits.headerBytes, m_served->limits.targetBytes),
      m_queue(m_served->limits.streamBytes, m_served->limits.streamEvents)
{
    _CallEntry call("Conversation::Conversation", __FILE__, __LINE__);
}

void Conversation::Begin()
{
    _CallEntry call("Conversation::Begin", __FILE__, __LINE__);

    SetDeadline(m_served->limits.requestWithin);
    m_wire->Begin(
        [self = shared_from_this()](const Wire::Error &error, std::size_t)
        {
            if (error)
                return self->Close();
            self->m_stage = Stage::Idle;
            self->ReadMore();
        });
}

void Conversation::Close()
{
    _CallEntry call("Conversation::Close", __FILE__, __LINE__);

    if (m_stage == Stage::Closed)
        return;
    if (IsStream())
        m_served->used = Clock::now();
    const auto self = shared_from_this();
    const auto stream = std::exchange(m_stream, nullptr);
    Drop();
    m_served->conversations.Remove(this);
    if (stream)
        stream->End();
}

void Conversation::Drop()
{
    _CallEntry call("Conversation::Drop", __FILE__, __LINE__);

    m_stage = Stage::Closed;
    m_timer.cancel();
    m_wire->Close();
    if (const auto stream = std::exchange(m_stream, nullptr))
        stream->Forget();
}

bool Conversation::IsWaiting() const
{
    _CallEntry call("Conversation::IsWaiting", __FILE__, __LINE__);

    switch (m_stage)
    {
    case Stage::Opening:
    case Stage::Idle:
    case Stage::Finishing:
        return true;
    case Stage::Reading:
    case Stage::Answering:
        return !m_caller;
    case Stage::Asking:
    case Stage::Handling:
    case Stage::Streaming:
    case Stage::Closed:
        return false;
    }
    return false;
}

void Conversation::ReadMore()
{
    _CallEntry call("Conversation::ReadMore", __FILE__, __LINE__);

    m_wire->Read(boost::asio::buffer(m_room),
                 [self = shared_from_this()](const Wire::Error &error, std::size_t count)
                 { self->OnBytes(error, count); });
}

void Conversation::OnBytes(const Wire::Error &error, std::size_t count)
{
    _CallEntry call("Conversation::OnBytes", __FILE__, __LINE__);

    if (m_stage == Stage::Closed)
        return;
    if (error)
        return Close();
    m_reader.Take({m_room.data(), count});
    if (m_isHeadRead)
        GoToBody();
    else
        Go();
}

void Conversation::Go()
{
    _CallEntry call("Conversation::Go", __FILE__, __LINE__);

    const bool isNew = m_stage == Stage::Idle;
    if (!m_reader.HasBegun())
        return ReadMore();
    m_stage = Stage::Reading;
    if (isNew)
        m_waitingSince = Clock::now();
    switch (m_reader.ReadHead())
    {
    case RequestReader::Progress::NeedsMore:
        // Not again with each byte that comes.
        if (isNew)
            SetDeadline(m_served->limits.requestWithin);
        return ReadMore();
    case RequestReader::Progress::IsRefused:
        m_isLast = true;
        return Refuse(m_reader.Why());
    case RequestReader::Progress::IsThere:
        m_isHeadRead = true;
        return OnHead();
    }
}

void Conversation::OnHead()
{
    _CallEntry call("Conversation::OnHead", __FILE__, __LINE__);

    const Head &head = m_reader.GetHead();
    // Where the request is refused its body is not read.
    m_isLast = head.HasBody() || !head.keepsAlive;
    if (m_welcome.status != 0)
    {
        m_isLast = true;
        return Refuse(m_welcome);
    }
    if (const auto refusal = m_served->guard.CheckHead(head))
        return Refuse(*refusal);
    String reason;
    auto target = ParseTarget(head.target, &reason);
    if (!target)
        return Refuse({400, reason});
    m_target = std::move(*target);
    m_method = head.method == "POST" ? Method::Post : Method::Get;

    if (const Response *file = m_served->files.Find(m_target.path))
    {
        if (m_method != Method::Get)
            return Refuse({405, "there is nothing to be changed here", "Allow", "GET, HEAD"});
        m_stage = Stage::Handling;
        return Answer(*file);
    }
    m_found = m_served->routes.Find(m_method, m_target.parts);
    m_route = m_found.route;
    if (m_found.allowed.empty())
        return Refuse({404, "there is no such address"});
    if (!m_route || (m_route->streamHandler && head.isHead))
        return Refuse({405, "this address takes another method", "Allow", m_found.allowed});
    if (const auto refusal = m_served->guard.CheckSite(head, m_method == Method::Post))
        return Refuse(*refusal);
    if (m_method == Method::Post)
        if (const auto refusal = Guard::CheckBody(head))
            return Refuse(*refusal);
    if (m_route->isOpen)
        return OnKnown(nullptr, {});
    m_stage = Stage::Asking;
    SetDeadline(m_served->limits.answerWithin);
    m_served->admission->Identify(
        head, m_peer,
        [self = shared_from_this(), number = m_number](const std::shared_ptr<const Caller> &caller,
                                                       const Refusal &refusal)
        {
            if (self->m_stage == Stage::Asking && self->m_number == number)
                self->OnKnown(caller, refusal);
        });
}

void Conversation::OnKnown(const std::shared_ptr<const Caller> &caller, const Refusal &refusal)
{
    _CallEntry call("Conversation::OnKnown", __FILE__, __LINE__);

    if (refusal.status != 0)
        return Refuse(refusal);
    m_stage = Stage::Reading;
    m_caller = caller;
    if (m_caller)
        m_served->used = Clock::now();
    if (!m_reader.GetHead().HasBody())
        return Handle();
    SetDeadline(m_served->limits.bodyWithin);
    if (m_reader.GetHead().expect && !m_reader.HasBegun())
        return AllowBody();
    GoToBody();
}

void Conversation::AllowBody()
{
    _CallEntry call("Conversation::AllowBody", __FILE__, __LINE__);

    const std::size_t most = m_caller ? m_served->limits.bodyBytes : m_served->limits.openBodyBytes;
    if (m_reader.GetHead().contentLength.value_or(0) > most)
        return GoToBody(); // Is refused there.
    m_answerHead = "HTTP/1.1 100 Continue\r\n\r\n";
    m_wire->Write({boost::asio::buffer(m_answerHead)},
                  [self = shared_from_this()](const Wire::Error &error, std::size_t)
                  {
                      if (self->m_stage == Stage::Closed)
                          return;
                      if (error)
                          return self->Close();
                      self->ReadMore();
                  });
}

void Conversation::GoToBody()
{
    _CallEntry call("Conversation::GoToBody", __FILE__, __LINE__);

    switch (
        m_reader.ReadBody(m_caller ? m_served->limits.bodyBytes : m_served->limits.openBodyBytes))
    {
    case RequestReader::Progress::NeedsMore:
        return ReadMore();
    case RequestReader::Progress::IsRefused:
        return RefuseBody();
    case RequestReader::Progress::IsThere:
        m_isLast = !m_reader.GetHead().keepsAlive;
        return Handle();
    }
}

void Conversation::Handle()
{
    _CallEntry call("Conversation::Handle", __FILE__, __LINE__);

    const auto request = std::make_shared<Request>();
    request->method = m_method;
    request->places = std::move(m_found.places);
    request->query = std::move(m_target.query);
    request->body = m_reader.TakeBody();
    request->ifNoneMatch = m_reader.GetHead().ifNoneMatch;
    request->peer = m_peer;
    request->caller = m_caller;

    m_stage = Stage::Handling;
    SetDeadline(m_served->limits.answerWithin);
    // Kept here until the handler is back: what it throws is the answer, though it drops its own.
    const auto pending = std::make_shared<Pending>(*this);
    try
    {
        if (m_route->streamHandler)
            return BeginStream(request);
        m_route->handler(request,
                         [pending](Response response) { pending->Give(std::move(response)); });
    }
    catch (HttpError *raw)
    {
        const std::unique_ptr<HttpError> error(raw);
        pending->Give(ErrorResponse(error->Status(), error->Text()));
    }
    catch (ostrel::Exception *raw)
    {
        const std::unique_ptr<ostrel::Exception> error(raw);
        ostrel::LogError(m_route->pattern + ": " + error->Text());
        pending->Give(ErrorResponse(500, error->Text()));
    }
    catch (const std::exception &error)
    {
        ostrel::LogError(m_route->pattern + ": " + error.what());
        pending->Give(ErrorResponse(500, error.what()));
    }
}

void Conversation::BeginStream(const std::shared_ptr<const Request> &request)
{
    _CallEntry call("Conversation::BeginStream", __FILE__, __LINE__);

    if (m_served->conversations.CountStreams() >= m_served->limits.streams ||
        m_served->conversations.CountStreamsOf(m_caller->session) >=
            m_served->limits.streamsOfSession)
        return Refuse({429, "too many pages are told events: try again later", "Retry-After", "5"});
    const auto stream = std::make_shared<Stream>(m_loop, weak_from_this());
    m_stage = Stage::Streaming;
    m_stream = stream;
    m_isHeadWritten = false;
    try
    {
        m_route->streamHandler(request, stream);
    }
    catch (...)
    {
        // Nothing is written before it is back, so that it can still be refused.
        stream->Forget();
        m_stream = nullptr;
        m_queue.Take(std::size_t(-1));
        m_stage = Stage::Handling;
        throw;
    }
    if (m_stage != Stage::Streaming)
        return;
    WriteEvents();
    ReadNothing();
}

void Conversation::Refuse(const Refusal &refusal)
{
    _CallEntry call("Conversation::Refuse", __FILE__, __LINE__);

    m_stage = Stage::Handling;
    Answer(ToResponse(refusal));
}

void Conversation::RefuseBody()
{
    _CallEntry call("Conversation::RefuseBody", __FILE__, __LINE__);

    Refusal refusal = m_reader.Why();
    if (refusal.status == 413 && !m_route->whereTooLong.empty())
        refusal.sentence += "; " + m_route->whereTooLong;
    Refuse(refusal);
}

void Conversation::Answer(Response response)
{
    _CallEntry call("Conversation::Answer", __FILE__, __LINE__);

    const Head &head = m_reader.GetHead();
    if (response.status == 200 && m_method == Method::Get && !head.ifNoneMatch.empty())
        for (const auto &[name, value] : response.headers)
            if (name == "ETag" && HasTag(head.ifNoneMatch, value))
            {
                response.status = 304;
                response.body = nullptr;
                break;
            }
    m_stage = Stage::Answering;
    m_waitingSince = Clock::now();
    m_answerHead = AnswerHead(response, m_isLast ? AfterAnswer::Close : AfterAnswer::KeepAlive,
                              std::time(nullptr));
    m_answerBody = head.isHead ? nullptr : std::move(response.body);
    m_written = 0;
    m_isHeadWritten = false;
    WriteAnswer();
}

void Conversation::WriteAnswer()
{
    _CallEntry call("Conversation::WriteAnswer", __FILE__, __LINE__);

    Wire::Buffers pieces;
    if (!std::exchange(m_isHeadWritten, true))
        pieces.push_back(boost::asio::buffer(m_answerHead));
    if (m_answerBody)
    {
        const std::size_t size = std::min(k_piece_bytes, m_answerBody->size() - m_written);
        if (size > 0)
            pieces.push_back(boost::asio::buffer(m_answerBody->data() + m_written, size));
        m_written += size;
    }
    SetDeadline(m_served->limits.takeWithin);
    m_wire->Write(pieces,
                  [self = shared_from_this()](const Wire::Error &error, std::size_t)
                  {
                      if (self->m_stage == Stage::Closed)
                          return;
                      if (error)
                          return self->Close();
                      if (self->m_answerBody && self->m_written < self->m_answerBody->size())
                          return self->WriteAnswer();
                      self->OnAnswered();
                  });
}

void Conversation::OnAnswered()
{
    _CallEntry call("Conversation::OnAnswered", __FILE__, __LINE__);

    m_answerBody = nullptr;
    m_caller = nullptr;
    if (m_isLast)
        return Finish();
    ++m_number;
    m_isHeadRead = false;
    m_reader.Next();
    m_stage = Stage::Idle;
    m_waitingSince = Clock::now();
    SetDeadline(m_served->limits.idleFor);
    Go();
}

void Conversation::Finish()
{
    _CallEntry call("Conversation::Finish", __FILE__, __LINE__);

    m_stage = Stage::Finishing;
    m_waitingSince = Clock::now();
    // Whoever sends a body that is not wanted may read the answer only once it is sent.
    SetDeadline(m_reader.GetHead().HasBody() ? m_served->limits.bodyWithin : k_finish_within);
    m_wire->Finish([self = shared_from_this()](const Wire::Error &, std::size_t)
                   { self->Close(); });
}

void Conversation::SendEvent(SharedText event)
{
    _CallEntry call("Conversation::SendEvent", __FILE__, __LINE__);

    m_queue.Add(std::move(event));
    // What is sent in one go goes in one go; and `Send` may be called before the stream began.
    if (m_sent.empty())
        boost::asio::post(m_loop, [self = shared_from_this()] { self->WriteEvents(); });
}

void Conversation::WriteEvents()
{
    _CallEntry call("Conversation::WriteEvents", __FILE__, __LINE__);

    if (m_stage != Stage::Streaming || !m_sent.empty())
        return;
    m_sent = m_queue.Take(k_events_bytes);
    if (!std::exchange(m_isHeadWritten, true))
        m_sent.insert(m_sent.begin(),
                      std::make_shared<const std::string>(StreamHead(std::time(nullptr))));
    if (m_sent.empty())
        return SetDeadline(m_served->limits.commentEvery);
    Wire::Buffers buffers;
    for (const SharedText &each : m_sent)
        buffers.push_back(boost::asio::buffer(*each));
    SetDeadline(m_served->limits.takeWithin);
    m_wire->Write(buffers,
                  [self = shared_from_this()](const Wire::Error &error, std::size_t)
                  {
                      if (self->m_stage == Stage::Closed)
                          return;
                      if (error)
                          return self->Close();
                      self->m_sent.clear();
                      self->WriteEvents();
                  });
}

void Conversation::ReadNothing()
{
    _CallEntry call("Conversation::ReadNothing", __FILE__, __LINE__);

    // A page has nothing to say on its stream; what comes is its end.
    m_wire->Read(boost::asio::buffer(m_room),
                 [self = shared_from_this()](const Wire::Error &, std::size_t) { self->Close(); });
}

void Conversation::SetDeadline(std::chrono::milliseconds within)
{
    _CallEntry call("Conversation::SetDeadline", __FILE__, __LINE__);

    // One that is put off costs nothing: the timer that runs finds out when it has ended.
    m_deadline = Clock::now() + within;
    if (!m_isTimed || m_timer.expiry() > m_deadline)
        WaitForDeadline();
}

void Conversation::WaitForDeadline()
{
    _CallEntry call("Conversation::WaitForDeadline", __FILE__, __LINE__);

    m_isTimed = true;
    m_timer.expires_at(m_deadline);
    m_timer.async_wait(
        [weak = weak_from_this()](const Wire::Error &error)
        {
            const auto self = weak.lock();
            if (error || !self || self->m_stage == Stage::Closed)
                return;
            self->m_isTimed = false;
            if (Clock::now() < self->m_deadline)
                self->WaitForDeadline();
            else
                self->OnLate();
        });
}

void Conversation::OnLate()
{
    _CallEntry call("Conversation::OnLate", __FILE__, __LINE__);

    switch (m_stage)
    {
    case Stage::Asking:
    case Stage::Handling:
        return Refuse({504, "there was no answer in time"});
    case Stage::Streaming:
        if (m_sent.empty())
        {
            static const auto s_comment = std::make_shared<const std::string>(":\n\n");
            m_queue.Add(s_comment);
            return WriteEvents();
        }
        return Close();
    case Stage::Opening:
    case Stage::Idle:
    case Stage::Reading:
    case Stage::Answering:
    case Stage::Finishing:
    case Stage::Closed:
        return Close();
    }
}

} // namespace web
