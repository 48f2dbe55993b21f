#include "check/LookAnswer.h"

#include "corvan/Utf8.h"
#include "decode/ImageReport.h"

namespace check
{

namespace
{

constexpr std::string_view k_begin = "corvan-check 1";
constexpr std::string_view k_trouble = "trouble ";
constexpr std::string_view k_print = "print ";
constexpr std::string_view k_counts = "counts ";
constexpr std::string_view k_bad = "bad ";
constexpr std::string_view k_many = "many";
constexpr std::string_view k_end = "end";

// What is told is no longer; the rest is not even looked at.
constexpr std::size_t k_most_told_bytes = 4000;

// The next line without its end; nothing where there is no whole one.
std::optional<std::string_view> TakeLine(std::string_view &text)
{
    const std::size_t end = text.find('\n');
    if (end == std::string_view::npos)
        return std::nullopt;
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(end + 1);
    return line;
}

bool TakeWord(std::string_view word, std::string_view &line)
{
    if (!line.starts_with(word))
        return false;
    line.remove_prefix(word.size());
    return true;
}

// Followers are told it.
String Plain(std::string_view text)
{
    return corvan::MakeUtf8(decode::OneLine(text.substr(0, k_most_told_bytes)));
}

} // namespace

std::string PackAnswer(const LookAnswer &answer)
{
    std::string text(k_begin);
    const auto add = [&](std::string_view word, std::string_view value)
    { text.append("\n").append(word).append(value); };
    if (!answer.trouble.empty())
        add(k_trouble, Plain(answer.trouble));
    if (!answer.print.empty())
        add(k_print, answer.print);
    if (answer.isJudged)
        add(k_counts, answer.counts);
    if (answer.areTooMany)
        add(k_many, {});
    const String lines = BadFramesText(answer.bad);
    for (std::string_view rest = lines; const auto line = TakeLine(rest);)
        add(k_bad, *line);
    add(k_end, "\n");
    return text;
}

std::optional<LookAnswer> ParseAnswer(std::string_view text)
{
    LookAnswer answer;
    String bad;
    if (TakeLine(text) != k_begin)
        return std::nullopt;
    while (auto line = TakeLine(text))
    {
        if (*line == k_end)
        {
            auto frames = ParseBadFrames(bad);
            if (!frames || (answer.trouble.empty() && answer.print.empty()))
                return std::nullopt;
            answer.bad = std::move(*frames);
            return answer;
        }
        if (*line == k_many)
            answer.areTooMany = true;
        else if (TakeWord(k_trouble, *line))
            answer.trouble = Plain(*line);
        else if (TakeWord(k_print, *line))
            answer.print = Plain(*line);
        else if (TakeWord(k_counts, *line))
        {
            answer.isJudged = true;
            answer.counts = Plain(*line);
        }
        else if (TakeWord(k_bad, *line))
            bad += String(std::string(*line)) + "\n";
        else
            return std::nullopt;
    }
    return std::nullopt;
}

} // namespace check
