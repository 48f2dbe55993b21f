#pragma once

#include <atomic>

namespace ostrel
{

/// A line is written where its level is at most the level of the place; 0 silences a place.
enum LogLevel : int
{
    k_LogNone = 0,
    k_LogFatal = 1,
    k_LogError = 2,
    k_LogWarning = 3,
    k_LogStatus = 4,
    k_LogInfo = 5,
    k_LogTrace = 6, ///< Call entries.
};

/// The highest level that some place takes. The log alone sets it.
inline constinit std::atomic<int> s_LogWantedLevel = k_LogWarning;

/// True when some place takes lines of this level: ask before building a costly text. One
/// comparison. Any thread.
inline bool LogWanted(LogLevel level)
{
    return level <= s_LogWantedLevel.load(std::memory_order_relaxed);
}

} // namespace ostrel
