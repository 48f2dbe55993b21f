#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "ostrel/Log.h"

/// Collects what is logged, on any thread, for as long as it lives. One at a time.
class LogCapture
{
public:
    struct Line
    {
        ostrel::LogLevel level;
        std::string text;
    };

    /// Takes lines of `level` and worse.
    explicit LogCapture(ostrel::LogLevel level = ostrel::k_LogInfo);
    ~LogCapture();
    LogCapture(const LogCapture &) = delete;
    LogCapture &operator=(const LogCapture &) = delete;

    std::vector<Line> Lines() const;

    /// The texts of one level, in order.
    std::vector<std::string> Texts(ostrel::LogLevel level) const;

    /// How many lines of the level hold `part`.
    int Count(ostrel::LogLevel level, std::string_view part) const;
    /// The same, of the lines from number `first` on: for who looks again and again.
    int CountFrom(std::size_t first, ostrel::LogLevel level, std::string_view part) const;
    std::size_t LineCount() const;

    void Clear();

private:
    mutable std::mutex m_mutex;
    std::vector<Line> m_lines;
};
