#include "cli/ProgressBar.h"

#include <fmt/format.h>

namespace cli
{

namespace
{

constexpr unsigned k_width = 40;

// In 64 bits: counts are those of the Master, who may have many tasks.
unsigned Share(const TaskCounts &counts, unsigned whole)
{
    if (counts.total == 0)
        return 0;
    const std::uint64_t over = std::uint64_t(counts.done) + counts.failed;
    return unsigned(std::min<std::uint64_t>(over * whole / counts.total, whole));
}

} // namespace

String BarText(const TaskCounts &counts)
{
    const unsigned filled = Share(counts, k_width);
    return fmt::format("[{}{}] {:>7}", std::string(filled, '#'), std::string(k_width - filled, '-'),
                       CountsText(counts));
}

ProgressBar::ProgressBar(std::FILE *stream, bool isTerminal)
    : m_stream(stream), m_isTerminal(isTerminal)
{
}

void ProgressBar::Show(const TaskCounts &counts)
{
    const String text = BarText(counts);
    if (text == m_shown)
        return;
    m_shown = text;

    if (m_isTerminal)
    {
        // What a longer line left behind goes too.
        fmt::print(m_stream, "\r{}\x1b[K", text);
        m_isLineOpen = true;
    }
    else if (const unsigned tenths = Share(counts, 10); tenths > m_tenths)
    {
        m_tenths = tenths;
        fmt::print(m_stream, "{}\n", CountsText(counts));
    }
    std::fflush(m_stream);
}

void ProgressBar::End()
{
    if (m_isLineOpen)
        fmt::print(m_stream, "\n");
    m_isLineOpen = false;
}

void ProgressBar::Clear()
{
    if (m_isLineOpen)
        fmt::print(m_stream, "\r\x1b[K");
    m_isLineOpen = false;
    std::fflush(m_stream);
}

} // namespace cli
