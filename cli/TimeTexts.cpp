#include "cli/TimeTexts.h"

#include <ctime>
#include <fmt/format.h>

namespace cli
{

namespace
{

constexpr std::int64_t k_second_ns = 1'000'000'000;
constexpr std::int64_t k_minute = 60;
constexpr std::int64_t k_hour = 3600;
constexpr std::int64_t k_day_seconds = 86'400;

} // namespace

std::optional<Time> ReadUtc(const String &text)
{
    std::tm parts{};
    const char *const end = ::strptime(text.c_str(), "%Y-%m-%dT%H:%M:%SZ", &parts);
    if (!end || *end != '\0')
        return std::nullopt;
    return Time(std::int64_t(::timegm(&parts)) * k_second_ns);
}

String MomentText(const Time &moment)
{
    const char *const k_date = "%Y-%m-%d";
    const bool isToday =
        moment.Format(k_date, true, false) == Time::Now().Format(k_date, true, false);
    return moment.Format(isToday ? "%H:%M" : "%Y-%m-%d %H:%M", true, false);
}

String SpanText(const Time &moment, const Time &now)
{
    const std::int64_t seconds = (moment.First() - now.First()) / k_second_ns;
    if (seconds < k_minute)
        return "less than a minute";
    if (seconds < k_hour)
        return fmt::format("{} min", seconds / k_minute);
    if (seconds < k_day_seconds)
        return fmt::format("{} h {} min", seconds / k_hour, seconds / k_minute % 60);
    return fmt::format("{} day{} {} h", seconds / k_day_seconds,
                       seconds / k_day_seconds == 1 ? "" : "s", seconds / k_hour % 24);
}

} // namespace cli
