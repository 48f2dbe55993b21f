#include "ostrel/Time.h"

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

} // namespace ostrel
