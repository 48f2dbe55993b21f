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

Time (*s_clock)() = nullptr;

// The digits of a number below 100 at `out`, and the place behind them.
char *WritePair(char *out, unsigned number)
{
    out[0] = char('0' + number / 10);
    out[1] = char('0' + number % 10);
    return out + 2;
}

} // namespace

const char *const k_DateTimeNoMS = "%Y-%m-%d %H:%M:%S";

void Time::SetClock(Time (*now)())
{
    s_clock = now;
}

Time Time::Now()
{
    if (s_clock)
        return s_clock();
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

    // Nanoseconds of the first day that there is begin before the first that fits 64 bits.
    const sys_seconds moment{seconds(WholeSeconds(m_first))};
    const auto day = floor<days>(moment);
    const year_month_day date(day);
    const hh_mm_ss clock(moment - day);
    const auto year = unsigned(int(date.year())); // 1677 to 2262.
    const auto fraction = unsigned((m_first % k_nanoseconds + k_nanoseconds) % k_nanoseconds);

    char text[] = "0000-00-00T00:00:00.000000000Z";
    WritePair(WritePair(text, year / 100), year % 100);
    WritePair(text + 5, unsigned(date.month()));
    WritePair(text + 8, unsigned(date.day()));
    WritePair(text + 11, unsigned(clock.hours().count()));
    WritePair(text + 14, unsigned(clock.minutes().count()));
    WritePair(text + 17, unsigned(clock.seconds().count()));
    text[20] = char('0' + fraction / 100'000'000);
    WritePair(text + 21, fraction / 1'000'000 % 100);
    WritePair(text + 23, fraction / 10'000 % 100);
    WritePair(text + 25, fraction / 100 % 100);
    WritePair(text + 27, fraction % 100);
    out.append(text, sizeof text - 1);
}

} // namespace ostrel
