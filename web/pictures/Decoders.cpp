#include "web/pictures/Decoders.h"

#include <algorithm>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <optional>
#include <thread>
#include <utility>

#include "decode/DecoderEnd.h"
#include "decode/DecoderProcess.h"
#include "decode/ServeDecoder.h"
#include "ostrel/Exception.h"
#include "ostrel/Log.h"

namespace web
{

using boost::asio::posix::stream_descriptor;
using boost::system::error_code;
using ostrel::ProcessException;

namespace
{

// To load the libraries and greet, however slow the disk is.
constexpr std::chrono::seconds k_start_time(60);
constexpr std::chrono::seconds k_end_time(2); // Of all together.
constexpr std::chrono::seconds k_pause_after_bad_start(5);
constexpr unsigned k_usual_places = 4;

std::size_t PlacesOf(const DecoderSettings &settings)
{
    if (settings.count > 0)
        return settings.count;
    return std::clamp(std::thread::hardware_concurrency(), 1u, k_usual_places);
}

} // namespace

struct Decoders::Worker
{
    Worker(boost::asio::io_context &loop, const DecoderSettings &settings)
        : process(settings.program, settings.memoryMib), channel(loop, process.Channel()),
          end(loop), timer(loop)
    {
    }
    ~Worker()
    {
        if (channel.is_open())
            channel.release(); // It is the process's.
    }

    decode::DecoderProcess process;
    stream_descriptor channel;
    stream_descriptor end; // Readable once the process has ended; on its way out.
    boost::asio::steady_timer timer;
    bool hasGreeted = false;
    bool isEnding = false;
    std::optional<Task> task;
    decode::PictureReceiver receiver;
};

Decoders::Decoders(boost::asio::io_context &loop, const DecoderSettings &settings)
    : m_loop(loop), m_settings(settings), m_places(PlacesOf(settings))
{
}

Decoders::~Decoders()
{
    for (const auto *workers : {&m_workers, &m_dying})
        for (const WorkerPointer &worker : *workers)
            worker->process.Kill(); // All of them before one is waited for.
    const auto end = Clock::now() + k_end_time;
    const auto left = [end]
    {
        return std::max(std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()),
                        std::chrono::milliseconds(0));
    };
    for (const auto *workers : {&m_workers, &m_dying})
        for (const WorkerPointer &worker : *workers)
            worker->process.EndWithin(left());
}

bool Decoders::Ask(const decode::DecodeRequest &request, Answered answered)
{
    const std::optional<std::string> message = decode::PackRequest(request);
    if (!message || m_waiting.size() >= m_settings.mostWaiting)
        return false;
    m_waiting.push_back({*message, request.picture.has_value(), std::move(answered)});
    GiveWork();
    return true;
}

void Decoders::GiveWork()
{
    for (const WorkerPointer &worker : m_workers)
        if (worker->hasGreeted && !worker->task && !m_waiting.empty())
            Give(worker);

    if (m_badStarts > 0)
        return; // How they ended tells more.
    // Those that are about to greet take one each.
    const auto starting =
        std::size_t(std::count_if(m_workers.begin(), m_workers.end(),
                                  [](const WorkerPointer &worker) { return !worker->hasGreeted; }));
    for (std::size_t wanted = m_waiting.size(); wanted > starting; --wanted)
        if (!MayStart() || !StartWorker())
            break;
    if (m_workers.empty())
        AnswerAll("the decoders hang, and cannot be ended: does a disk hang?");
}

bool Decoders::MayStart() const
{
    return m_workers.size() < m_places && Processes() < 2 * m_places &&
           (m_workers.empty() || Clock::now() >= m_startAgain);
}

// False where there can be no more for the moment.
bool Decoders::StartWorker()
{
    try
    {
        const auto worker = std::make_shared<Worker>(m_loop, m_settings);
        m_workers.push_back(worker);
        SetDeadline(worker, k_start_time);
        Await(worker);
        return true;
    }
    catch (ProcessException *raw)
    {
        const std::unique_ptr<ProcessException> error(raw);
        DoWithout(error->Text());
        return false;
    }
}

void Decoders::Give(const WorkerPointer &worker)
{
    worker->task = std::move(m_waiting.front());
    m_waiting.pop_front();
    worker->receiver = {};
    SetDeadline(worker, m_settings.time);
    worker->process.Ask(worker->task->message); // One that is gone is noticed by its channel.
}

void Decoders::Await(const WorkerPointer &worker)
{
    worker->channel.async_wait(stream_descriptor::wait_read,
                               [this, weak = std::weak_ptr(worker)](const error_code &error)
                               {
                                   const WorkerPointer alive = weak.lock();
                                   if (alive && !error && !alive->isEnding)
                                       OnMessage(alive);
                               });
}

void Decoders::SetDeadline(const WorkerPointer &worker, std::chrono::seconds time)
{
    worker->timer.expires_after(time);
    worker->timer.async_wait(
        [this, weak = std::weak_ptr(worker)](const error_code &error)
        {
            const WorkerPointer alive = weak.lock();
            // One that was set anew meanwhile, when this was on its way already, is not over.
            if (alive && !error && !alive->isEnding && alive->timer.expiry() <= Clock::now())
                OnDeadline(alive);
        });
}

void Decoders::OnMessage(const WorkerPointer &worker)
{
    const String message = worker->process.Receive();
    if (!worker->hasGreeted)
        return OnGreeting(worker, message);
    if (message.empty())
        return OnEnded(worker);
    if (!worker->task)
        return End(worker, {}); // Nobody has asked.
    if (worker->task->isPicture)
        OnPiece(worker, message);
    else
        OnReport(worker, message);
}

void Decoders::OnEnded(const WorkerPointer &worker)
{
    End(worker,
        [this, task = std::exchange(worker->task, std::nullopt)](int status)
        {
            const auto [trouble, reason] = decode::JudgeEnd(status, m_settings.memoryMib);
            Answer answer;
            answer.picture.trouble = answer.report.trouble = trouble;
            answer.picture.reason = answer.report.reason = reason;
            if (task)
                task->answered(std::move(answer));
        });
    GiveWork();
}

void Decoders::OnGreeting(const WorkerPointer &worker, const String &message)
{
    if (message == decode::k_DecoderGreeting)
    {
        worker->hasGreeted = true;
        SetDeadline(worker, m_settings.idle);
        Await(worker);
        return GiveWork();
    }
    ++m_badStarts;
    End(worker,
        [this](int status)
        {
            --m_badStarts;
            DoWithout(m_settings.program.Text() + " is no decoder: it " +
                      decode::DecoderEndText(status));
        });
}

void Decoders::OnReport(const WorkerPointer &worker, const String &message)
{
    Answer answer;
    const auto report = decode::ParseReport(message);
    if (report)
    {
        answer.report = *report;
        return Finish(worker, std::move(answer));
    }
    answer.report.reason = decode::k_NoProperAnswer;
    GiveUp(worker, std::move(answer));
}

void Decoders::OnPiece(const WorkerPointer &worker, const String &message)
{
    Answer answer;
    if (!worker->receiver.Add(message))
    {
        answer.picture.reason = decode::k_NoProperAnswer;
        return GiveUp(worker, std::move(answer));
    }
    if (!worker->receiver.IsWhole())
        return Await(worker);
    answer.picture = worker->receiver.Take();
    Finish(worker, std::move(answer));
}

void Decoders::OnDeadline(const WorkerPointer &worker)
{
    if (!worker->hasGreeted)
    {
        End(worker, {});
        DoWithout(m_settings.program.Text() + " is no decoder: it says nothing");
        return GiveWork();
    }
    if (!worker->task)
        return End(worker, {}); // It was idle for long.
    Answer answer;
    answer.picture.trouble = answer.report.trouble = decode::LateText(m_settings.time);
    GiveUp(worker, std::move(answer));
}

void Decoders::Finish(const WorkerPointer &worker, Answer answer)
{
    const Task task = std::move(*worker->task);
    worker->task.reset();
    SetDeadline(worker, m_settings.idle);
    Await(worker);
    GiveWork();
    task.answered(std::move(answer));
}

// The next request gets a new decoder.
void Decoders::GiveUp(const WorkerPointer &worker, Answer answer)
{
    const Task task = std::move(*worker->task);
    worker->task.reset();
    End(worker, {});
    GiveWork();
    task.answered(std::move(answer));
}

// Kills it, and goes on: `ended` is told its status once it is gone.
void Decoders::End(const WorkerPointer &worker, std::function<void(int)> ended)
{
    worker->timer.cancel();
    worker->channel.cancel();
    worker->isEnding = true;
    worker->process.Kill();
    m_workers.remove(worker);
    m_dying.push_back(worker);
    const auto reap = [this, ended = std::move(ended), weak = std::weak_ptr(worker)](error_code)
    {
        const WorkerPointer alive = weak.lock();
        if (!alive)
            return;
        m_dying.remove(alive);
        const int status = alive->process.End();
        if (ended)
            ended(status);
        GiveWork();
    };
    const int end = worker->process.OpenEnd();
    if (end < 0)
        return boost::asio::post(m_loop, [reap] { reap({}); }); // Waits for it, then.
    worker->end.assign(end);
    worker->end.async_wait(stream_descriptor::wait_read, reap);
}

// Fewer decoders do as well for a while; none do not.
void Decoders::DoWithout(const String &trouble)
{
    if (m_workers.empty())
        return AnswerAll(trouble);
    ostrel::LogWarning(trouble);
    m_startAgain = Clock::now() + k_pause_after_bad_start;
}

void Decoders::AnswerAll(const String &trouble)
{
    for (Task &task : std::exchange(m_waiting, {}))
    {
        Answer answer;
        answer.isOurFault = true;
        answer.trouble = trouble;
        // Who asks is not answered before he has asked.
        boost::asio::post(m_loop,
                          [answered = std::move(task.answered), answer] { answered(answer); });
    }
}

} // namespace web
