#include "web/door/AnswerText.h"

#include <algorithm>
#include <boost/beast/http/status.hpp>

namespace web
{

namespace http = boost::beast::http;

namespace
{

const char *const k_common_fields =
    "Content-Security-Policy: default-src 'none'; script-src 'self'; style-src 'self'; "
    "img-src 'self'; connect-src 'self'; base-uri 'none'; form-action 'none'; "
    "frame-ancestors 'none'\r\n"
    "X-Frame-Options: DENY\r\n"
    "X-Content-Type-Options: nosniff\r\n"
    "Referrer-Policy: no-referrer\r\n"
    "Cross-Origin-Resource-Policy: same-origin\r\n"
    "Cross-Origin-Opener-Policy: same-origin\r\n";

bool IsCacheControl(const std::pair<std::string, std::string> &field)
{
    return field.first == "Cache-Control";
}

// Answers come many a second, and the date changes once.
const std::string &DateText(std::time_t now)
{
    static thread_local std::time_t s_time = -1;
    static thread_local std::string s_text;
    if (now != s_time)
    {
        // In English whatever the user speaks.
        static const char *const s_days[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
        static const char *const s_months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                               "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
        std::tm time{};
        ::gmtime_r(&now, &time);
        char text[40];
        const std::size_t size = std::strftime(text, sizeof text, " %Y %H:%M:%S GMT", &time);
        char day[16];
        const std::size_t daySize = std::strftime(day, sizeof day, ", %d ", &time);
        s_text = s_days[time.tm_wday] + std::string(day, daySize) + s_months[time.tm_mon] +
                 std::string(text, size);
        s_time = now;
    }
    return s_text;
}

void AppendField(std::string &text, const std::string &name, const std::string &value)
{
    text += name;
    text += ": ";
    std::transform(value.begin(), value.end(), std::back_inserter(text),
                   [](char c)
                   { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f ? '?' : c; });
    text += "\r\n";
}

void AppendStatus(std::string &text, unsigned status)
{
    const auto reason = http::obsolete_reason(http::int_to_status(status));
    text += "HTTP/1.1 " + std::to_string(status) + " ";
    text.append(reason.data(), reason.size());
    text += "\r\n";
}

} // namespace

std::string AnswerHead(const Response &response, AfterAnswer after, std::time_t now)
{
    std::string text;
    text.reserve(1024);
    AppendStatus(text, response.status);
    AppendField(text, "Date", DateText(now));
    // An answer without a body has no type, and one of these two no length either.
    if (response.body)
        AppendField(text, "Content-Type", response.type);
    if (response.status != 204 && response.status != 304)
        AppendField(text, "Content-Length",
                    std::to_string(response.body ? response.body->size() : 0));
    for (const auto &[name, value] : response.headers)
        AppendField(text, name, value);
    if (std::none_of(response.headers.begin(), response.headers.end(), &IsCacheControl))
        text += "Cache-Control: no-store\r\n";
    text += k_common_fields;
    if (after == AfterAnswer::Close)
        text += "Connection: close\r\n";
    text += "\r\n";
    return text;
}

std::string StreamHead(std::time_t now)
{
    std::string text;
    AppendStatus(text, 200);
    AppendField(text, "Date", DateText(now));
    // A proxy that gathers what comes would keep the page waiting.
    text += "Content-Type: text/event-stream\r\nCache-Control: no-store\r\n"
            "X-Accel-Buffering: no\r\n";
    text += k_common_fields;
    text += "Connection: close\r\n\r\n";
    return text;
}

} // namespace web
