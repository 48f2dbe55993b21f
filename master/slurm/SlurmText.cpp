#include "master/slurm/SlurmText.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "corvan/Utf8.h"

namespace master
{

// A field's size is left out, so that none is cut.
const char *const k_QueueFields =
    "ArrayJobID:|,ArrayTaskID:|,State:|,exit_code:|,NodeList:|,Reason:|,Name:|,TimeUsed:|";

namespace
{

constexpr std::size_t k_fields = 7;

std::string_view Trimmed(std::string_view text)
{
    const std::size_t begin = text.find_first_not_of(" \t\r");
    if (begin == std::string_view::npos)
        return {};
    return text.substr(begin, text.find_last_not_of(" \t\r") - begin + 1);
}

template <typename Number> bool ReadNumber(std::string_view text, Number &number)
{
    const auto [stopped, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && stopped == text.data() + text.size();
}

std::string_view TakePart(std::string_view &text, char end)
{
    const std::size_t place = text.find(end);
    const std::string_view part = text.substr(0, place);
    text.remove_prefix(place == std::string_view::npos ? text.size() : place + 1);
    return part;
}

bool ReadRange(std::string_view text, std::vector<ElementRange> &ranges)
{
    unsigned first = 0;
    unsigned last = 0;
    unsigned step = 1;
    const std::string_view begin = TakePart(text, '-');
    if (!ReadNumber(begin, first))
        return false;
    if (text.empty())
    {
        ranges.emplace_back(first, first);
        return true;
    }
    const std::string_view end = TakePart(text, ':');
    if (!ReadNumber(end, last) || last < first || (!text.empty() && !ReadNumber(text, step)) ||
        step == 0)
        return false;
    if (step == 1)
        ranges.emplace_back(first, last);
    for (unsigned one = first; step > 1 && one <= last; one += step)
        ranges.emplace_back(one, one);
    return true;
}

bool ReadLine(std::string_view text, QueueLine &line)
{
    std::array<std::string_view, k_fields> fields;
    for (std::string_view &field : fields)
    {
        if (text.empty())
            return false;
        field = Trimmed(TakePart(text, '|'));
    }
    const auto elements = ReadElements(fields[1]);
    if (!elements || !ReadNumber(fields[0], line.array))
        return false;
    line.elements = *elements;
    line.state = fields[2];
    // As `wait` tells it.
    unsigned status = 0;
    if (ReadNumber(fields[3], status))
        line.exitStatus = (status & 0x7f) != 0 ? -1 : int((status >> 8) & 0xff);
    line.node = fields[4];
    line.reason = fields[5];
    line.name = fields[6];
    line.ran = ReadSpan(Trimmed(TakePart(text, '|')));
    return true;
}

// The number behind each "key=" that is one.
void AddNumbers(std::string_view text, std::string_view key, std::vector<unsigned> &numbers)
{
    for (std::size_t place = text.find(key); place != std::string_view::npos;
         place = text.find(key, place + 1))
    {
        const std::string_view rest = text.substr(place + key.size());
        unsigned number = 0;
        const auto [stopped, error] =
            std::from_chars(rest.data(), rest.data() + rest.size(), number);
        if (error == std::errc() && number > 0)
            numbers.push_back(number);
    }
}

} // namespace

std::string WriteElements(const std::vector<unsigned> &elements)
{
    std::string text;
    for (std::size_t first = 0; first < elements.size();)
    {
        std::size_t last = first;
        while (last + 1 < elements.size() && elements[last + 1] == elements[last] + 1)
            ++last;
        text += (text.empty() ? "" : ",") + std::to_string(elements[first]);
        if (last > first)
            text += "-" + std::to_string(elements[last]);
        first = last + 1;
    }
    return text;
}

std::optional<std::chrono::seconds> ReadSpan(std::string_view text)
{
    unsigned days = 0;
    if (text.find('-') != std::string_view::npos && !ReadNumber(TakePart(text, '-'), days))
        return std::nullopt;
    std::int64_t seconds = 0;
    int parts = 0;
    do
    {
        unsigned part = 0;
        if (++parts > 3 || !ReadNumber(TakePart(text, ':'), part))
            return std::nullopt;
        seconds = seconds * 60 + part;
    } while (!text.empty());
    if (parts < 2)
        return std::nullopt;
    return std::chrono::seconds(seconds + 86'400LL * days);
}

std::optional<std::vector<ElementRange>> ReadElements(std::string_view text)
{
    std::vector<ElementRange> ranges;
    text = text.substr(0, text.find('%'));
    if (text.starts_with('[') && text.ends_with(']'))
        text = text.substr(1, text.size() - 2);
    while (!text.empty())
        if (!ReadRange(TakePart(text, ','), ranges))
            return std::nullopt;
    if (ranges.empty())
        return std::nullopt;
    return ranges;
}

std::vector<QueueLine> ReadQueueLines(std::string_view text)
{
    std::vector<QueueLine> lines;
    while (!text.empty())
    {
        QueueLine line;
        if (ReadLine(TakePart(text, '\n'), line))
            lines.push_back(std::move(line));
    }
    return lines;
}

std::map<String, String> ReadNodeLines(std::string_view text)
{
    std::map<String, String> states;
    while (!text.empty())
    {
        std::string_view line = TakePart(text, '\n');
        const std::string_view name = Trimmed(TakePart(line, '|'));
        const std::string_view state = Trimmed(TakePart(line, '|'));
        const std::string_view reason = Trimmed(line);
        if (name.empty() || state.empty())
            continue;
        String told = corvan::MakeUtf8(state);
        if (!reason.empty() && reason != "none")
            told += " (" + corvan::MakeUtf8(reason) + ")";
        states[corvan::MakeUtf8(name)] = told;
    }
    return states;
}

ClusterLimits ReadConfig(std::string_view text)
{
    ClusterLimits limits;
    while (!text.empty())
    {
        std::string_view value = TakePart(text, '\n');
        const std::string_view key = Trimmed(TakePart(value, '='));
        value = Trimmed(value);
        if (key == "ClusterName")
            limits.name = String(value);
        else if (key == "SLURM_VERSION")
            limits.version = String(value);
        else if (key == "MaxArraySize")
            ReadNumber(value, limits.arraySize);
        else if (key == "MaxJobCount")
            ReadNumber(value, limits.jobs);
    }
    return limits;
}

unsigned ReadSubmitLimit(std::string_view text)
{
    std::vector<unsigned> numbers;
    AddNumbers(text, "MaxSubmitJobs=", numbers);
    AddNumbers(text, "GrpSubmitJobs=", numbers);
    return numbers.empty() ? 0 : *std::ranges::min_element(numbers);
}

std::uint64_t ReadArrayNumber(std::string_view text)
{
    std::uint64_t number = 0;
    return ReadNumber(Trimmed(text.substr(0, text.find_first_of(";\n"))), number) ? number : 0;
}

String WordsOf(std::string_view errors)
{
    std::string_view words;
    for (std::string_view rest = errors; !rest.empty();)
    {
        std::string_view line = Trimmed(TakePart(rest, '\n'));
        if (const std::size_t place = line.find("error: "); place != std::string_view::npos)
            words = line.substr(place + 7);
        else if (words.empty() && !line.empty())
            words = line;
    }
    for (const std::string_view before :
         {"Batch job submission failed: ", "slurm_load_jobs error: ", "slurm_update error: "})
        if (words.starts_with(before))
            words.remove_prefix(before.size());
    return corvan::Excerpt(corvan::MakeUtf8(words));
}

bool MayHaveTaken(const String &words)
{
    constexpr std::string_view k_doubts[] = {
        "ontact slurm controller", "imed out",       "Zero Bytes", "ommunication",
        "Unspecified error",       "Unexpected mes", "onnection",  "Transport",
    };
    return words.empty() || std::ranges::any_of(k_doubts, [&](std::string_view doubt)
                                                { return words.find(doubt) != String::npos; });
}

} // namespace master
