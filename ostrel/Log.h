#pragma once

#include <functional>
#include <string_view>

#include "ostrel/LogLevel.h"
#include "ostrel/Path.h"

namespace ostrel
{

/// Where the log goes.
struct LogSettings
{
    int consoleLevel = k_LogWarning; ///< To standard error, control characters as "\x1b".
    int fileLevel = k_LogInfo;
    Path file; ///< Empty for no file. Rotated at 10 MB, 3 kept.
    /// Takes a numbered file beside it ("Ordwick-2.log") where another process writes this one.
    bool isOwnFile = false;
};

/// Starts logging. The file is written by a thread of its own; a line is on disk after `LogFlush`
/// or `LogStop`, and within a second otherwise. A file that cannot be opened is reported on the
/// console and the program goes on without one. Calling it again replaces the settings.
void LogStart(const LogSettings &settings);

/// Writes out what waits and closes the file; from then on there is the console alone. Done by
/// itself when the program ends by `exit` or returns from `main`.
void LogStop();

/// Returns when all lines logged before are with the operating system.
void LogFlush();

/// One line of log (it may hold newlines). Any thread. Never throws. Before `LogStart`, warnings
/// and worse go to standard error, control characters but line ends and tabs as "\x1b". A fatal
/// line is followed by the thread's call entries, and is in the file when the call returns. When
/// the file falls 8 MB behind, the call waits for it.
void Log(LogLevel level, std::string_view text);

/// The same, but for the console: for what the program says there in its own words.
void LogBesideConsole(LogLevel level, std::string_view text);

/// Every line that is wanted at `level` or below is given to `listener` as well, on the thread
/// that logs it, without call entries; an empty function ends that, after a call that is under way.
/// A listener is not told of lines that it logs itself, and must not call `LogListen`. One at a
/// time; for tests and log windows.
void LogListen(LogLevel level, std::function<void(LogLevel, std::string_view)> listener);

inline void LogFatal(std::string_view text)
{
    Log(k_LogFatal, text);
}
inline void LogError(std::string_view text)
{
    Log(k_LogError, text);
}
inline void LogWarning(std::string_view text)
{
    Log(k_LogWarning, text);
}
inline void LogStatus(std::string_view text)
{
    Log(k_LogStatus, text);
}
inline void LogInfo(std::string_view text)
{
    Log(k_LogInfo, text);
}

} // namespace ostrel
