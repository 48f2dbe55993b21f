#include "ostrel/LogWriter.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/rotating_file_sink.h>

#include "ostrel/Log.h"

namespace ostrel
{

namespace
{

constexpr std::size_t k_file_bytes = 10u << 20;
constexpr std::size_t k_files_kept = 3;

constexpr std::size_t k_wake_bytes = 256u << 10;
constexpr std::size_t k_most_bytes = 8u << 20;
constexpr std::chrono::milliseconds k_longest_wait{500};
constexpr std::chrono::seconds k_retry_pause{10};

// The system's names of the levels; spdlog's own differ.
class LevelNameFlag : public spdlog::custom_flag_formatter
{
public:
    void format(const spdlog::details::log_msg &message, const std::tm & /*time*/,
                spdlog::memory_buf_t &target) override
    {
        const std::string_view name = LogLevelName(spdlog::level::off - int(message.level));
        target.append(name.data(), name.data() + name.size());
    }

    std::unique_ptr<custom_flag_formatter> clone() const override
    {
        return std::make_unique<LevelNameFlag>();
    }
};

std::shared_ptr<spdlog::sinks::sink> OpenSink(const Path &file)
{
    // Only the writer's thread uses it.
    auto sink = std::make_shared<spdlog::sinks::rotating_file_sink_st>(file.Text(), k_file_bytes,
                                                                       k_files_kept);
    sink->set_formatter(LogLineFormat());
    return sink;
}

} // namespace

std::unique_ptr<spdlog::formatter> LogLineFormat()
{
    auto format = std::make_unique<spdlog::pattern_formatter>();
    format->add_flag<LevelNameFlag>('*').set_pattern("%Y-%m-%d %H:%M:%S.%e %* %v");
    return format;
}

// spdlog counts up to the worst level, 5, below "off", 6; ours count down to it from 6 to 1.
spdlog::level::level_enum SpdlogLevel(int level)
{
    return spdlog::level::level_enum(spdlog::level::off - level);
}

const char *LogLevelName(int level)
{
    static const char *const k_names[] = {"",       "fatal ", "error ", "warn  ",
                                          "status", "info  ", "trace "};
    return level >= k_LogFatal && level <= k_LogTrace ? k_names[level] : "";
}

LogWriter::LogWriter(const Path &file)
    : m_file(file), m_sink(OpenSink(file)), m_thread([this] { Run(); })
{
}

LogWriter::~LogWriter()
{
    {
        const std::lock_guard lock(m_mutex);
        m_stop = true;
    }
    m_wake.notify_one();
    m_thread.join();
}

void LogWriter::Add(int level, std::string_view text)
{
    const auto now = spdlog::log_clock::now();
    bool hasEnough = false;
    {
        std::unique_lock lock(m_mutex);
        m_written.wait(lock, [this] { return m_waiting.texts.size() < k_most_bytes; });
        const std::size_t before = m_waiting.texts.size();
        m_waiting.lines.push_back({now, text.size(), level});
        m_waiting.texts += text;
        hasEnough = before < k_wake_bytes && m_waiting.texts.size() >= k_wake_bytes;
    }
    if (hasEnough)
        m_wake.notify_one();
}

void LogWriter::Flush()
{
    std::unique_lock lock(m_mutex);
    // The batch that is being written now was taken before; the next one has all that waits.
    const std::uint64_t wanted = m_batchesDone + 2;
    m_batchesAsked = std::max(m_batchesAsked, wanted);
    m_wake.notify_one();
    m_written.wait(lock, [&] { return m_batchesDone >= wanted; });
}

bool LogWriter::HasWork() const
{
    return m_stop || m_batchesDone < m_batchesAsked || m_waiting.texts.size() >= k_wake_bytes;
}

void LogWriter::Run()
{
    Batch batch;
    std::unique_lock lock(m_mutex);
    for (bool isLast = false; !isLast;)
    {
        m_wake.wait_for(lock, k_longest_wait, [this] { return HasWork(); });
        isLast = m_stop;
        std::swap(batch, m_waiting);

        lock.unlock();
        m_written.notify_all();
        Write(batch);
        batch = Batch(); // A burst must not keep its memory.
        lock.lock();

        ++m_batchesDone;
        m_written.notify_all();
    }
}

void LogWriter::Write(const Batch &batch)
{
    if (batch.lines.empty())
        return;
    try
    {
        if (!m_sink)
            Reopen();
        if (m_sink)
            WriteLines(batch);
    }
    catch (const std::exception &error)
    {
        // A sink that failed is not safe to use again: it may have closed its file.
        m_sink.reset();
        Failed(error.what());
    }
}

void LogWriter::WriteLines(const Batch &batch)
{
    const char *text = batch.texts.data();
    for (const Line &line : batch.lines)
    {
        const spdlog::string_view_t view(text, line.length);
        m_sink->log(spdlog::details::log_msg(line.time, {}, {}, SpdlogLevel(line.level), view));
        text += line.length;
    }
    m_sink->flush();
}

void LogWriter::Reopen()
{
    if (spdlog::log_clock::now() < m_retryAt)
        return;
    m_sink = OpenSink(m_file);
}

void LogWriter::Failed(const char *reason)
{
    m_retryAt = spdlog::log_clock::now() + k_retry_pause;
    if (m_hasReported)
        return;
    m_hasReported = true;
    std::fprintf(stderr, "cannot write log file %s: %s\n", m_file.Text().c_str(), reason);
}

} // namespace ostrel
