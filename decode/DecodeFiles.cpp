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

    void Run(std::span<const Path> files, const FoundReport &found, ReportDepth depth)
    {
        m_files = files;
        m_depth = depth;
        m_found = &found;
        // They had their time while nobody listened; what they said since then waits.
        for (Worker &worker : m_workers)
            worker.deadline = Clock::now() + k_start_time;
        while (m_answered < m_files.size())
        {
            FillPlaces(m_files.size() - m_answered);
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
        std::optional<std::size_t> file; // None before it has greeted.
        Clock::time_point deadline;
    };

    using Place = std::list<Worker>::iterator;

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
        const auto wait = std::chrono::ceil<std::chrono::milliseconds>(next - Clock::now());
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
        if (!worker->file)
            return message == k_DecoderGreeting ? Occupy(worker) : OnBadStart(worker);
        if (message.empty())
            return OnEnded(worker);

        const std::optional<ImageReport> report = ParseReport(message);
        if (!report)
            return GiveUp(worker, k_NoProperAnswer);
        Answer(*worker->file, *report);
        Occupy(worker);
    }

    void Occupy(Place worker)
    {
        while (m_next < m_files.size())
        {
            const std::size_t file = m_next++;
            if (const auto request = PackRequest({m_files[file], std::nullopt, m_depth}))
            {
                worker->file = file;
                worker->deadline = Clock::now() + m_limits.time;
                worker->process.Ask(*request); // One that is gone is noticed by its channel.
                return;
            }
            ImageReport report;
            report.trouble = "no file has such a name";
            Answer(file, report);
        }
        m_workers.erase(worker);
    }

    void OnEnded(Place worker)
    {
        const DecoderEnd end = JudgeEnd(worker->process.End(), m_limits.memoryMib);
        ImageReport report;
        report.trouble = end.trouble;
        report.reason = end.reason;
        Replace(worker, report);
    }

    void OnLate(Place worker)
    {
        if (!worker->file)
            return OnBadStart(worker);
        GiveUpUnseen(worker, LateText(m_limits.time));
    }

    void OnBadStart(Place worker)
    {
        const String end = DecoderEndText(worker->process.End());
        m_workers.erase(worker);
        DoWithout(new ProcessException(m_program.Text() + " is no decoder: it " + end));
    }

    void GiveUp(Place worker, const String &reason)
    {
        ImageReport report;
        report.reason = reason;
        Replace(worker, report);
    }

    void GiveUpUnseen(Place worker, const String &trouble)
    {
        ImageReport report;
        report.trouble = trouble;
        Replace(worker, report);
    }

    // The next file gets a new decoder.
    void Replace(Place worker, const ImageReport &report)
    {
        const std::size_t file = *worker->file;
        m_workers.erase(worker);
        Answer(file, report);
    }

    void Answer(std::size_t file, const ImageReport &report)
    {
        ++m_answered;
        (*m_found)(file, report);
    }

    const Path &m_program;
    const DecodeLimits &m_limits;
    std::size_t m_places;
    std::span<const Path> m_files;
    ReportDepth m_depth = ReportDepth::Whole;
    const FoundReport *m_found = nullptr;
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
    if (m_ahead || files == 0)
        return;
    auto workers = std::make_unique<Workers>(m_program, m_limits);
    try
    {
        workers->FillPlaces(files);
    }
    catch (ProcessException *error)
    {
        delete error;
        return;
    }
    m_ahead = std::move(workers);
}

void DecodeCrew::Read(std::span<const Path> files, const FoundReport &found, ReportDepth depth)
{
    const std::unique_ptr<Workers> workers =
        m_ahead ? std::move(m_ahead) : std::make_unique<Workers>(m_program, m_limits);
    workers->Run(files, found, depth);
}

void DecodeFiles(const Path &program, std::span<const Path> files, const DecodeLimits &limits,
                 const FoundReport &found, ReportDepth depth)
{
    DecodeCrew(program, limits).Read(files, found, depth);
}

} // namespace decode
