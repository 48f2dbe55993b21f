#include "ostrel/Log.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <fmt/format.h>
#include <memory>
#include <mutex>
#include <spdlog/details/log_msg.h>
#include <spdlog/sinks/stdout_sinks.h>

#include "ostrel/CallEntry.h"
#include "ostrel/LogFileClaim.h"
#include "ostrel/LogWriter.h"

namespace ostrel
{

namespace
{

using Listener = std::function<void(LogLevel, std::string_view)>;

struct Logging
{
    std::atomic<int> consoleLevel = k_LogWarning;
    std::atomic<int> fileLevel = k_LogNone;
    std::atomic<int> listenerLevel = k_LogNone;

    std::mutex mutex;                    ///< Of the writer and the settings.
    std::unique_ptr<LogFileClaim> claim; ///< Of the writer's file, where it is to be ours alone.
    std::unique_ptr<LogWriter> writer;

    std::recursive_mutex listenerMutex;
    Listener listener;

    spdlog::sinks::stderr_sink_mt console;

    Logging()
    {
        console.set_formatter(LogLineFormat());
    }

    void UpdateWanted()
    {
        s_LogWantedLevel = std::max({consoleLevel.load(), fileLevel.load(), listenerLevel.load()});
    }
};

// Never destroyed: destructors of other static objects log too.
Logging &TheLogging()
{
    static Logging *const logging = new Logging;
    return *logging;
}

unsigned Byte(std::string_view text, std::size_t at)
{
    return at < text.size() ? static_cast<unsigned char>(text[at]) : 0;
}

// How many bytes there are a character that a terminal would act on; line ends and tabs are none.
std::size_t ControlBytes(std::string_view text, std::size_t at)
{
    const unsigned byte = Byte(text, at);
    if (byte == 0xc2 && Byte(text, at + 1) >= 0x80 && Byte(text, at + 1) < 0xa0)
        return 2;
    return (byte < 0x20 && byte != '\n' && byte != '\t') || byte == 0x7f ? 1 : 0;
}

// Lines quote what came from outside. Those of the file are for programs, too.
std::string ForTerminal(std::string_view text)
{
    std::string shown;
    shown.reserve(text.size());
    for (std::size_t at = 0; at < text.size();)
    {
        const std::size_t control = ControlBytes(text, at);
        if (control == 0)
            shown += text[at++];
        for (const std::size_t end = at + control; at < end; ++at)
            shown += fmt::format("\\x{:02x}", Byte(text, at));
    }
    return shown;
}

void WriteConsole(Logging &logging, int level, std::string_view text)
{
    const std::string shown = ForTerminal(text);
    logging.console.log(
        spdlog::details::log_msg({}, SpdlogLevel(level), {shown.data(), shown.size()}));
}

void WriteFile(Logging &logging, int level, std::string_view text)
{
    const std::lock_guard lock(logging.mutex);
    if (!logging.writer)
        return;
    logging.writer->Add(level, text);
    if (level == k_LogFatal)
        logging.writer->Flush();
}

enum class Console
{
    Written,
    PassedOver,
};

void WritePlaces(Logging &logging, int level, std::string_view text, Console console)
{
    if (level <= logging.consoleLevel && console == Console::Written)
        WriteConsole(logging, level, text);
    if (level <= logging.fileLevel)
        WriteFile(logging, level, text);
}

std::string WithStack(std::string_view text)
{
    std::string whole(text);
    const std::string stack = _CallEntry::Stack();
    if (!stack.empty())
        whole.append("\n").append(stack, 0, stack.size() - 1);
    return whole;
}

void TellListener(Logging &logging, LogLevel level, std::string_view text)
{
    // A listener that logs is not told of its own lines.
    thread_local bool isTelling = false;
    if (isTelling || level > logging.listenerLevel)
        return;

    const std::lock_guard lock(logging.listenerMutex);
    if (!logging.listener)
        return;
    isTelling = true;
    try
    {
        logging.listener(level, text);
    }
    catch (...)
    {
    }
    isTelling = false;
}

std::unique_ptr<LogWriter> OpenWriter(Logging &logging, const Path &file)
{
    try
    {
        return std::make_unique<LogWriter>(file);
    }
    catch (const std::exception &error)
    {
        const std::string reason = error.what();
        WriteConsole(logging, k_LogError, "cannot open log file " + file.Text() + ": " + reason);
        return nullptr;
    }
}

void LogTo(Console console, LogLevel level, std::string_view text)
{
    if (!LogWanted(level))
        return;

    try
    {
        Logging &logging = TheLogging();
        if (level == k_LogFatal)
            WritePlaces(logging, level, WithStack(text), console);
        else
            WritePlaces(logging, level, text, console);
        TellListener(logging, level, text);
    }
    catch (...)
    {
        // Out of memory; a log must not end the program.
    }
}

} // namespace

void LogStart(const LogSettings &settings)
{
    static std::once_flag s_stopAtExit;
    std::call_once(s_stopAtExit, [] { std::atexit(LogStop); });

    Logging &logging = TheLogging();
    const std::lock_guard lock(logging.mutex);
    logging.writer.reset();
    logging.claim.reset();
    if (!settings.file.IsEmpty() && settings.fileLevel > k_LogNone)
    {
        if (settings.isOwnFile)
            logging.claim = std::make_unique<LogFileClaim>(settings.file);
        logging.writer = OpenWriter(logging, logging.claim ? logging.claim->File() : settings.file);
    }
    logging.consoleLevel = settings.consoleLevel;
    logging.fileLevel = logging.writer ? settings.fileLevel : int(k_LogNone);
    logging.UpdateWanted();
}

void LogStop()
{
    Logging &logging = TheLogging();
    const std::lock_guard lock(logging.mutex);
    logging.fileLevel = k_LogNone;
    logging.UpdateWanted();
    logging.writer.reset();
    logging.claim.reset();
}

void LogFlush()
{
    Logging &logging = TheLogging();
    const std::lock_guard lock(logging.mutex);
    if (logging.writer)
        logging.writer->Flush();
}

void Log(LogLevel level, std::string_view text)
{
    LogTo(Console::Written, level, text);
}

void LogBesideConsole(LogLevel level, std::string_view text)
{
    LogTo(Console::PassedOver, level, text);
}

void LogListen(LogLevel level, std::function<void(LogLevel, std::string_view)> listener)
{
    Logging &logging = TheLogging();
    const std::scoped_lock lock(logging.mutex, logging.listenerMutex);
    logging.listenerLevel = listener ? int(level) : int(k_LogNone);
    logging.listener = std::move(listener);
    logging.UpdateWanted();
}

} // namespace ostrel
