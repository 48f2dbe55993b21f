#pragma once

#include <boost/asio/io_context.hpp>
#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <list>
#include <memory>

#include "decode/DecodeRequest.h"
#include "decode/ImageReport.h"
#include "decode/Picture.h"

namespace web
{

using ostrel::Path;
using ostrel::String;

/// How many decoders there are, and what each may take for one file.
struct DecoderSettings
{
    Path program;
    unsigned count = 0; ///< Of processes that work; 0 for one a core, 4 at most.
    std::chrono::seconds time{60};
    unsigned memoryMib = 4096;
    std::size_t mostWaiting = 512; ///< Requests that no decoder is at yet.
    std::chrono::seconds idle{30}; ///< After which a decoder without work is ended.
};

/// Has images looked at by `corvan-decode` children, each of which may be lost: a file that crashes
/// its decoder has that as its reason, one that takes longer or wants more memory than it may as
/// its trouble, and the next request gets a new decoder.
///
/// Loop thread; nothing here waits. What is killed and hangs in a disk's hands all the same is
/// reaped when it ends; there are no more of these than of decoders at work.
class Decoders
{
public:
    /// What has come of a request, on the loop's thread. Each is told exactly once, but for those
    /// that are left when the decoders go.
    struct Answer
    {
        String trouble;               ///< As in what was asked for.
        bool isOurFault = false;      ///< No decoder can be started; the trouble says why.
        decode::Picture picture{};    ///< Where a picture was asked for.
        decode::ImageReport report{}; ///< Where a report was.
    };
    using Answered = std::function<void(Answer)>;

    /// `loop` outlives this. Nothing is started before it is needed.
    Decoders(boost::asio::io_context &loop, const DecoderSettings &settings);
    /// Kills all that are left.
    ~Decoders();
    Decoders(const Decoders &) = delete;
    Decoders &operator=(const Decoders &) = delete;

    /// False where too many wait already, or no message can say the request: nothing is told then.
    /// `answered` is not called from within.
    bool Ask(const decode::DecodeRequest &request, Answered answered);

    /// Processes that live, those that are on their way out too.
    std::size_t Processes() const
    {
        return m_workers.size() + m_dying.size();
    }

private:
    struct Task
    {
        std::string message;
        bool isPicture = false;
        Answered answered;
    };
    struct Worker;
    using WorkerPointer =
        std::shared_ptr<Worker>; // Shared with nobody: what waits for it looks weakly.

    using Clock = std::chrono::steady_clock;

    void GiveWork();
    bool MayStart() const;
    bool StartWorker();
    void Give(const WorkerPointer &worker);
    void Await(const WorkerPointer &worker);
    void SetDeadline(const WorkerPointer &worker, std::chrono::seconds time);
    void OnMessage(const WorkerPointer &worker);
    void OnEnded(const WorkerPointer &worker);
    void OnGreeting(const WorkerPointer &worker, const String &message);
    void OnReport(const WorkerPointer &worker, const String &message);
    void OnPiece(const WorkerPointer &worker, const String &message);
    void OnDeadline(const WorkerPointer &worker);
    void Finish(const WorkerPointer &worker, Answer answer);
    void GiveUp(const WorkerPointer &worker, Answer answer);
    void End(const WorkerPointer &worker, std::function<void(int)> ended);
    void DoWithout(const String &trouble);
    void AnswerAll(const String &trouble);

    boost::asio::io_context &m_loop;
    const DecoderSettings m_settings;
    const std::size_t m_places;
    std::deque<Task> m_waiting;
    std::list<WorkerPointer> m_workers;
    std::list<WorkerPointer> m_dying;
    unsigned m_badStarts = 0; // Processes that did not greet, and of which the end is awaited.
    Clock::time_point m_startAgain{}; // After a bad start, while others do.
};

} // namespace web
