#include "tests/support/LogCapture.h"

#include <algorithm>

using ostrel::LogLevel;

LogCapture::LogCapture(LogLevel level)
{
    ostrel::LogListen(level,
                      [this](LogLevel lineLevel, std::string_view text)
                      {
                          const std::lock_guard lock(m_mutex);
                          m_lines.push_back({lineLevel, std::string(text)});
                      });
}

LogCapture::~LogCapture()
{
    ostrel::LogListen(ostrel::k_LogNone, {});
}

std::vector<LogCapture::Line> LogCapture::Lines() const
{
    const std::lock_guard lock(m_mutex);
    return m_lines;
}

std::vector<std::string> LogCapture::Texts(LogLevel level) const
{
    std::vector<std::string> texts;
    for (const Line &line : Lines())
    {
        if (line.level == level)
            texts.push_back(line.text);
    }
    return texts;
}

int LogCapture::Count(LogLevel level, std::string_view part) const
{
    return CountFrom(0, level, part);
}

int LogCapture::CountFrom(std::size_t first, LogLevel level, std::string_view part) const
{
    const std::lock_guard lock(m_mutex);
    const auto begin = m_lines.begin() + std::ptrdiff_t(std::min(first, m_lines.size()));
    return int(std::count_if(begin, m_lines.end(),
                             [&](const Line &line) {
                                 return line.level == level &&
                                        line.text.find(part) != std::string::npos;
                             }));
}

std::size_t LogCapture::LineCount() const
{
    const std::lock_guard lock(m_mutex);
    return m_lines.size();
}

void LogCapture::Clear()
{
    const std::lock_guard lock(m_mutex);
    m_lines.clear();
}
