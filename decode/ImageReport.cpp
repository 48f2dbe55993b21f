#include "decode/ImageReport.h"

#include <charconv>
#include <vector>

namespace decode
{

namespace
{

constexpr std::size_t k_longest_text = 600;
constexpr char k_separator = '\0';

bool IsControl(char c)
{
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7f;
}

// Of UTF-8: any byte of a character but its first.
bool IsInsideCharacter(char c)
{
    return (static_cast<unsigned char>(c) & 0xc0) == 0x80;
}

std::vector<std::string_view> SplitFields(std::string_view message)
{
    std::vector<std::string_view> fields;
    for (std::size_t end = 0; (end = message.find(k_separator)) != std::string_view::npos;)
    {
        fields.push_back(message.substr(0, end));
        message.remove_prefix(end + 1);
    }
    fields.push_back(message);
    return fields;
}

template <typename Number> bool TakeNumber(std::string_view text, Number &value)
{
    const char *end = text.data() + text.size();
    const auto [read, error] = std::from_chars(text.data(), end, value);
    return error == std::errc() && read == end && value >= 0;
}

// The order of the fields in a message.
template <typename Report, typename Text, typename Number>
void VisitFields(Report &report, Text &&text, Number &&number)
{
    text(report.trouble);
    text(report.reason);
    text(report.format);
    text(report.formatByName);
    number(report.width);
    number(report.height);
    text(report.channels);
    number(report.pixels);
    number(report.nanPixels);
    number(report.infinitePixels);
    text(report.wildChannels);
    text(report.colour);
}

} // namespace

String OneLine(std::string_view text)
{
    String line;
    bool isGap = false;
    for (const char c : text)
    {
        if (line.size() >= k_longest_text && !IsInsideCharacter(c))
            return line + "...";
        if (isGap && !line.empty() && !IsControl(c))
            line += ' ';
        isGap = IsControl(c);
        if (!isGap)
            line += c;
    }
    return line;
}

String PackReport(const ImageReport &report)
{
    String message;
    const auto add = [&message](const std::string &field) { message += field + k_separator; };
    VisitFields(
        report, [&](const String &text) { add(OneLine(text)); },
        [&](auto number) { add(std::to_string(number)); });
    message.pop_back();
    return message;
}

std::optional<ImageReport> ParseReport(std::string_view message)
{
    const std::vector<std::string_view> fields = SplitFields(message);
    std::size_t next = 0;
    const auto take = [&] { return next < fields.size() ? fields[next++] : std::string_view(); };

    ImageReport report;
    bool isGood = true;
    std::size_t count = 0;
    VisitFields(
        report, [&](String &text) { text = OneLine(take()), ++count; },
        [&](auto &number) { isGood = TakeNumber(take(), number) && isGood, ++count; });
    if (!isGood || count != fields.size())
        return std::nullopt;
    return report;
}

} // namespace decode
