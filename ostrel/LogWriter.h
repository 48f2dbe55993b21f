#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <spdlog/common.h>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "ostrel/Path.h"

namespace spdlog::sinks
{
class sink;
}

namespace ostrel
{

/// A rotating log file, written by a thread of its own.
///
/// Callers only append to a buffer, which the thread takes whole: a burst of lines costs each of
/// them a short lock and a copy, not a wake-up. When 8 MB wait to be written callers wait too, so
/// that no line is lost and memory stays bounded. All methods from any thread.
class LogWriter
{
public:
    /// Opens the file, at its end. Throws `spdlog::spdlog_ex` when it cannot be opened.
    explicit LogWriter(const Path &file);

    /// Writes what waits, and closes the file.
    ~LogWriter();
    LogWriter(const LogWriter &) = delete;
    LogWriter &operator=(const LogWriter &) = delete;

    void Add(int level, std::string_view text);

    /// Returns when all that was added before is with the operating system.
    void Flush();

private:
    struct Line
    {
        spdlog::log_clock::time_point time;
        std::size_t length;
        int level;
    };

    /// Lines and their texts, one behind the other.
    struct Batch
    {
        std::vector<Line> lines;
        std::string texts;
    };

    void Run();
    bool HasWork() const;
    void Write(const Batch &batch);
    void WriteLines(const Batch &batch);
    void Reopen();
    void Failed(const char *reason);

    const Path m_file;

    // Of the thread alone.
    std::shared_ptr<spdlog::sinks::sink> m_sink; ///< Null while the file cannot be written.
    spdlog::log_clock::time_point m_retryAt;
    bool m_hasReported = false;

    std::mutex m_mutex;
    std::condition_variable m_wake;    ///< The thread has something to do before its time.
    std::condition_variable m_written; ///< A batch was taken or written.
    Batch m_waiting;
    std::uint64_t m_batchesAsked = 0; ///< Flush: write until `m_batchesDone` is that far.
    std::uint64_t m_batchesDone = 0;
    bool m_stop = false;

    std::thread m_thread; ///< Last: it uses all above.
};

/// The line format of every place: date and time with milliseconds, level, text.
std::unique_ptr<spdlog::formatter> LogLineFormat();

/// Our level numbers as spdlog's, and back.
spdlog::level::level_enum SpdlogLevel(int level);
const char *LogLevelName(int level);

} // namespace ostrel
