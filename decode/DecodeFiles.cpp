#include "decode/DecodeFiles.h"

#include <algorithm>
#include <list>
#include <memory>
#include <optional>
#include <poll.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "decode/DecodeRequest.h"
#include "decode/DecoderEnd.h"
#include "decode/DecoderProcess.h"
#include "decode/ServeDecoder.h"
#include "ostrel/Exception.h"
#include "ostrel/Folders.h"

namespace decode
{

using ostrel::ProcessException;
using Clock = std::chrono::steady_clock;

namespace
{

// To load the libraries and greet, however slow the disk is.
constexpr std::chrono::seconds k_start_time(60);
constexpr const char *k_decoder = "corvan-decode";

} // namespace

class DecodeCrew::Workers
{
public:
    // What has come of a request: one of the two, by what was asked for, or why there is neither.
    struct Answer
    {
        ImageReport report{};
        Picture picture{};
    };

    // Requests by their numbers, and who is told the answers.
    struct Questions
    {
        std::size_t count;
        std::function<DecodeRequest(std::size_t)> request;
        std::function<void(std::size_t, Answer)> found;
    };

    Workers(const Path &program, const DecodeLimits &limits)
        : m_program(program), m_limits(limits),
          m_places(limits.jobs > 0 ? limits.jobs
                                   : std::max(std::thread::hardware_concurrency(), 1u))
    {
    }

    void FillPlaces(std::size_t files)
    {
        while (m_workers.size() < std::min(m_places, files))
        {
            try
            {
                m_workers.emplace_back(m_program, m_limits.memoryMib);
            }
            catch (ProcessException *error)
            {
                DoWithout(error);
            }
        }
    }

    void Run(const Questions &questions)
    {
        m_questions = &questions;
        m_next = m_answered = 0;
        for (Place place = m_workers.begin(); place != m_workers.end();)
        {
            const Place worker = place++;
            // It had its time while nobody listened; what it said since then waits.
            if (!worker->hasGreeted)
                worker->deadline = Clock::now() + k_start_time;
            else if (HasNews(*worker))
                m_workers.erase(worker); // Nothing was asked: it has ended, and not by a file.
            else
                Occupy(worker);
        }
        while (m_answered < questions.count)
        {
            FillPlaces(questions.count - m_answered);
            WaitForNews();
        }
    }

private:
    // A decoder and what it is at.
    struct Worker
    {
        Worker(const Path &program, unsigned memoryMib)
            : process(program, memoryMib), deadline(Clock::now() + k_start_time)
        {
        }

        DecoderProcess process;
        bool hasGreeted = false;
        std::optional<std::size_t> file; // None where it is idle, or has not greeted.
        bool isAtPicture = false;
        PictureReceiver receiver;
        Clock::time_point deadline; // Never, where it is idle.
    };

    using Place = std::list<Worker>::iterator;

    static bool HasNews(const Worker &worker)
    {
        pollfd channel{worker.process.Channel(), POLLIN, 0};
        return poll(&channel, 1, 0) > 0;
    }

    static Answer Unseen(const String &trouble)
    {
        Answer answer;
        answer.report.trouble = answer.picture.trouble = trouble;
        return answer;
    }

    static Answer Failed(const String &reason)
    {
        Answer answer;
        answer.report.reason = answer.picture.reason = reason;
        return answer;
    }

    // Fewer decoders do as well; none do not.
    void DoWithout(ProcessException *raw)
    {
        std::unique_ptr<ProcessException> error(raw);
        if (m_workers.empty())
            throw error.release();
        m_places = m_workers.size();
    }

    void WaitForNews()
    {
        std::vector<pollfd> channels;
        Clock::time_point next = Clock::time_point::max();
        for (const Worker &worker : m_workers)
        {
            channels.push_back({worker.process.Channel(), POLLIN, 0});
            next = std::min(next, worker.deadline);
        }
        const auto wait = std::chrono::ceil<std::chrono::milliseconds>(
            std::min(next, Clock::now() + std::chrono::hours(1)) - Clock::now());
        if (poll(channels.data(), channels.size(),
                 int(std::clamp<std::int64_t>(wait.count(), 0, 3'600'000))) < 0)
            return; // A signal came between.

        auto channel = channels.begin();
        for (Place place = m_workers.begin(); place != m_workers.end(); ++channel)
        {
            const Place worker = place++;
            if (channel->revents != 0)
                OnMessage(worker);
            else if (worker->deadline <= Clock::now())
                OnLate(worker);
        }
    }

    void OnMessage(Place worker)
    {
        const String message = worker->process.Receive();
        if (!worker->hasGreeted)
        {
            worker->hasGreeted = message == k_DecoderGreeting;
            return worker->hasGreeted ? Occupy(worker) : OnBadStart(worker);
        }
        if (!worker->file)
        {
            m_workers.erase(worker);
            return;
        }
        if (message.empty())
            return OnEnded(worker);

        if (worker->isAtPicture)
            return OnPiece(worker, message);
        const std::optional<ImageReport> report = ParseReport(message);
        if (!report)
            return Replace(worker, Failed(k_NoProperAnswer));
        Tell(*worker->file, {*report, {}});
        Occupy(worker);
    }

    void OnPiece(Place worker, const String &message)
    {
        if (!worker->receiver.Add(message))
            return Replace(worker, Failed(k_NoProperAnswer));
        if (!worker->receiver.IsWhole())
            return;
        Tell(*worker->file, {{}, worker->receiver.Take()});
        Occupy(worker);
    }

    void Occupy(Place worker)
    {
        while (m_next < m_questions->count)
        {
            const std::size_t file = m_next++;
            const DecodeRequest request = m_questions->request(file);
            if (const auto message = PackRequest(request))
            {
                worker->file = file;
                worker->isAtPicture = request.picture || request.strip;
                worker->receiver = {};
                worker->deadline = Clock::now() + m_limits.time;
                worker->process.Ask(*message); // One that is gone is noticed by its channel.
                return;
            }
            Tell(file, Unseen("no file has such a name"));
        }
        worker->file.reset();
        worker->deadline = Clock::time_point::max();
    }

    void OnEnded(Place worker)
    {
        const DecoderEnd end = JudgeEnd(worker->process.End(), m_limits.memoryMib);
        Replace(worker, end.trouble.empty() ? Failed(end.reason) : Unseen(end.trouble));
    }

    void OnLate(Place worker)
    {
        if (!worker->hasGreeted)
            return OnBadStart(worker);
        Replace(worker, Unseen(LateText(m_limits.time)));
    }

    void OnBadStart(Place worker)
    {
        const String end = DecoderEndText(worker->process.End());
        m_workers.erase(worker);
        DoWithout(new ProcessException(m_program.Text() + " is no decoder: it " + end));
    }

    // The next file gets a new decoder.
    void Replace(Place worker, Answer answer)
    {
        const std::size_t file = *worker->file;
        m_workers.erase(worker);
        Tell(file, std::move(answer));
    }

    void Tell(std::size_t file, Answer answer)
    {
        ++m_answered;
        m_questions->found(file, std::move(answer));
    }

    const Path &m_program;
    const DecodeLimits &m_limits;
    std::size_t m_places;
    const Questions *m_questions = nullptr;
    std::size_t m_next = 0; // The first file that nobody was given.
    std::size_t m_answered = 0;
    std::list<Worker> m_workers;
};

Path DecoderProgram()
{
    const Path folder = ostrel::ProgramFolder();
    const Path beside = folder / k_decoder;
    // What is no command for people stands beside it.
    return ::access(beside.Text().c_str(), X_OK) == 0
               ? beside
               : folder.Parent() / "libexec/ordwick" / k_decoder;
}

DecodeCrew::DecodeCrew(Path program, const DecodeLimits &limits)
    : m_program(std::move(program)), m_limits(limits)
{
}

DecodeCrew::~DecodeCrew() = default;

void DecodeCrew::StartAhead(std::size_t files)
{
    if (files == 0)
        return;
    if (!m_workers)
        m_workers = std::make_unique<Workers>(m_program, m_limits);
    try
    {
        m_workers->FillPlaces(files);
    }
    catch (ProcessException *error)
    {
        delete error;
        m_workers.reset();
    }
}

void DecodeCrew::Read(std::span<const Path> files, const FoundReport &found, ReportDepth depth)
{
    std::unique_ptr<Workers> workers =
        m_workers ? std::move(m_workers) : std::make_unique<Workers>(m_program, m_limits);
    workers->Run({files.size(),
                  [&](std::size_t file) {
                      return DecodeRequest{files[file], std::nullopt, depth};
                  },
                  [&](std::size_t file, const Workers::Answer &answer)
                  { found(file, answer.report); }});
    m_workers = std::move(workers);
}

void DecodeFiles(const Path &program, std::span<const Path> files, const DecodeLimits &limits,
                 const FoundReport &found, ReportDepth depth)
{
    DecodeCrew(program, limits).Read(files, found, depth);
}

void DecodeCrew::Make(std::span<const DecodeRequest> requests, const FoundPicture &found)
{
    Workers(m_program, m_limits)
        .Run({requests.size(), [&](std::size_t index) { return requests[index]; },
              [&](std::size_t index, Workers::Answer answer)
              { found(index, std::move(answer.picture)); }});
}

} // namespace decode
