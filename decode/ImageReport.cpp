#include "decode/ImageReport.h"

#include <vector>

#include "decode/MessageFields.h"

namespace decode
{

namespace
{

constexpr std::size_t k_longest_text = 600;

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

// The order of the fields in a message.
template <typename Report, typename Text, typename Number, typename Measures>
void VisitFields(Report &report, Text &&text, Number &&number, Measures &&measures)
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
    number(report.negativePixels);
    text(report.colour);
    measures(report.measures);
}

// No more pixels are wrong than there are; none is both not a number and infinite.
bool CanBeCounts(const ImageReport &report)
{
    return report.nanPixels <= report.pixels &&
           report.infinitePixels <= report.pixels - report.nanPixels &&
           report.negativePixels <= report.pixels;
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
    std::vector<std::string> fields;
    VisitFields(
        report, [&](const String &text) { fields.push_back(OneLine(text)); },
        [&](auto number) { fields.push_back(std::to_string(number)); },
        [&](const PictureMeasures &measures) { fields.push_back(PackMeasures(measures)); });
    return JoinFields({fields.begin(), fields.end()});
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
        [&](auto &number)
        { isGood = TakeNumber(take(), number) && number >= 0 && isGood, ++count; },
        [&](PictureMeasures &measures)
        {
            const std::optional<PictureMeasures> parsed = ParseMeasures(take());
            isGood = parsed && isGood, ++count;
            measures = parsed.value_or(PictureMeasures());
        });
    if (!isGood || count != fields.size() || !CanBeCounts(report))
        return std::nullopt;
    return report;
}

} // namespace decode
