#include "ostrel/Time.h"

#include <chrono>
#include <string>

namespace ostrel
{

namespace
{

constexpr std::int64_t k_nanoseconds = 1'000'000'000;

// Rounded down, also before 1970.
std::time_t WholeSeconds(std::int64_t nanoseconds)
{
    const std::int64_t seconds = nanoseconds / k_nanoseconds;
    return std::time_t(nanoseconds % k_nanoseconds < 0 ? seconds - 1 : seconds);
}

// `width` digits of a number that has no more.
void AppendDigits(std::string &out, unsigned number, std::size_t width)
{
    const std::size_t start = out.size();
    out.resize(start + width);
    for (std::size_t at = start + width; at > start; number /= 10)
        out[--at] = char('0' + number % 10);
}

} // namespace

const char *const k_DateTimeNoMS = "%Y-%m-%d %H:%M:%S";

Time Time::Now()
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return Time(now);
}

String Time::Format(const char *pattern, bool localTime, bool blankWhenZero) const
{
    if (blankWhenZero && *this == Time())
        return {};

    const std::time_t seconds = WholeSeconds(m_first);
    std::tm parts{};
    if (!(localTime ? localtime_r(&seconds, &parts) : gmtime_r(&seconds, &parts)))
        return {};

    // strftime answers 0 for "too small" as for "empty"; the added blank tells them apart.
    const std::string padded = std::string(pattern) + ' ';
    String text(64, '\0');
    std::size_t length = 0;
    while ((length = std::strftime(text.data(), text.size(), padded.c_str(), &parts)) == 0)
        text.resize(text.size() * 2);
    text.resize(length - 1);
    return text;
}

void Time::AppendIso(std::string &out) const
{
    using namespace std::chrono;

    const sys_time<nanoseconds> moment{nanoseconds(m_first)};
    const auto day = floor<days>(moment);
    const year_month_day date(day);
    const hh_mm_ss clock(moment - day);
    const struct
    {
        unsigned number;
        std::size_t width;
        char after;
    } parts[] = {
        {unsigned(int(date.year())), 4, '-'},
        {unsigned(date.month()), 2, '-'},
        {unsigned(date.day()), 2, 'T'},
        {unsigned(clock.hours().count()), 2, ':'},
        {unsigned(clock.minutes().count()), 2, ':'},
        {unsigned(clock.seconds().count()), 2, '.'},
        {unsigned(clock.subseconds().count()), 9, 'Z'},
    };
    for (const auto &[number, width, after] : parts)
    {
        AppendDigits(out, number, width);
        out.push_back(after);
    }
}

} // namespace ostrel
