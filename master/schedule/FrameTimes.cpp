#include "master/schedule/FrameTimes.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace master
{

namespace
{

// Of times that count as alike, the longest is by this part of a doubling longer than the shortest.
constexpr double k_steps = 16;
constexpr double k_shortest = 0.001;
constexpr double k_longest = 1e8;
constexpr std::size_t k_most_counts = 1000;

int StepOf(double seconds)
{
    return int(std::floor(std::log2(std::clamp(seconds, k_shortest, k_longest)) * k_steps));
}

double BeginOf(double step)
{
    return std::exp2(step / k_steps);
}

std::string_view TakeWord(std::string_view &text, char end)
{
    const std::size_t place = text.find(end);
    const std::string_view word = text.substr(0, place);
    text.remove_prefix(place == std::string_view::npos ? text.size() : place + 1);
    return word;
}

template <typename Number> bool Read(std::string_view text, Number &number)
{
    const auto [stopped, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && stopped == text.data() + text.size();
}

String Write(double number, int digits)
{
    char text[64];
    const auto [end, error] =
        std::to_chars(text, text + sizeof text, number, std::chars_format::fixed, digits);
    return error == std::errc() ? String(std::string(text, end)) : String();
}

} // namespace

FrameTimes FrameTimes::Parse(std::string_view text)
{
    FrameTimes times;
    if (!Read(TakeWord(text, ' '), times.m_tasks) || !Read(TakeWord(text, ' '), times.m_slowest) ||
        !(times.m_slowest >= 0))
        return {};
    while (!text.empty())
    {
        std::string_view word = TakeWord(text, ' ');
        int step = 0;
        unsigned count = 0;
        if (!Read(TakeWord(word, ':'), step) || !Read(word, count) || count > k_most_weight ||
            times.m_counts.size() >= k_most_counts)
            return {};
        times.m_counts[step] = count;
    }
    return times;
}

String FrameTimes::ToText() const
{
    if (m_tasks == 0)
        return {};
    std::string text = std::to_string(m_tasks) + " " + Write(m_slowest, 3);
    for (const auto &[step, count] : m_counts)
        text += " " + std::to_string(step) + ":" + std::to_string(count);
    return text;
}

void FrameTimes::Add(double seconds)
{
    if (!std::isfinite(seconds) || seconds < 0)
        return;
    ++m_tasks;
    m_slowest = std::max(m_slowest, seconds);
    ++m_counts[StepOf(seconds)];
    if (Weight() < k_most_weight)
        return;
    for (auto &[step, count] : m_counts)
        count /= 2;
    std::erase_if(m_counts, [](const auto &one) { return one.second == 0; });
}

unsigned FrameTimes::Weight() const
{
    unsigned weight = 0;
    for (const auto &[step, count] : m_counts)
        weight += count;
    return weight;
}

double FrameTimes::Quantile(double part) const
{
    const double wanted = part * Weight();
    double before = 0;
    for (const auto &[step, count] : m_counts)
    {
        if (before + count >= wanted)
            return std::min(m_slowest, BeginOf(step + (wanted - before) / count));
        before += count;
    }
    return m_slowest;
}

double FrameTimes::Mean() const
{
    const unsigned weight = Weight();
    if (weight == 0)
        return 0;
    const double most = Quantile(0.95);
    double sum = 0;
    for (const auto &[step, count] : m_counts)
        sum += count * std::min(most, BeginOf(step + 0.5));
    return sum / weight;
}

String SecondsText(double seconds)
{
    return Write(seconds, seconds >= 100 ? 0 : seconds >= 10 ? 1 : seconds >= 1 ? 2 : 3);
}

} // namespace master
