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
constexpr std::size_t k_most_words = 500; // Bytes, of what may go on and on.

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

// A line of `scontrol -o show assoc_mgr`: what a user may have of an account, or the account
// itself.
struct Association
{
    std::string_view account;
    std::string_view user; // Empty for the account itself.
    std::string_view parent;
    std::string_view mostSubmitted;
    std::string_view mostOfGroup;
    bool isUsual = false; // It is that of a job that names no account.
};

std::vector<Association> ReadAssociations(std::string_view text)
{
    std::vector<Association> all;
    while (!text.empty())
    {
        std::string_view line = TakePart(text, '\n');
        Association one;
        while (!line.empty())
        {
            std::string_view value = TakePart(line, ' ');
            const std::string_view key = TakePart(value, '=');
            if (key == "Account")
                one.account = value;
            else if (key == "UserName")
                one.user = value;
            else if (key == "ParentAccount")
                one.parent = value.substr(0, value.find('('));
            else if (key == "DefAssoc")
                one.isUsual = value == "Yes";
            else if (key == "MaxSubmitJobs")
                one.mostSubmitted = value;
            else if (key == "GrpSubmitJobs")
                one.mostOfGroup = value;
        }
        if (!one.account.empty())
            all.push_back(one);
    }
    return all;
}

// The number of "500(3)"; "N(3)" and nothing are none. Of 0, Slurm tells when a job comes.
void AddNumber(std::string_view text, std::vector<unsigned> &numbers)
{
    unsigned number = 0;
    if (ReadNumber(text.substr(0, text.find('(')), number) && number > 0)
        numbers.push_back(number);
}

// Those of an account and of all that it belongs to.
void AddGroups(const std::vector<Association> &all, std::string_view account,
               std::vector<unsigned> &numbers)
{
    for (std::size_t depth = 0; depth < all.size(); ++depth)
    {
        const auto found =
            std::ranges::find_if(all, [&](const Association &one)
                                 { return one.user.empty() && one.account == account; });
        if (found == all.end())
            return;
        AddNumber(found->mostOfGroup, numbers);
        account = found->parent;
    }
}

// The number of "name=number" among what has commas between.
std::optional<unsigned> ReadParameter(std::string_view text, std::string_view name)
{
    while (!text.empty())
    {
        std::string_view value = TakePart(text, ',');
        unsigned number = 0;
        if (Trimmed(TakePart(value, '=')) == name && ReadNumber(Trimmed(value), number))
            return number;
    }
    return std::nullopt;
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
    std::optional<unsigned> mostOfArray;
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
        else if (key == "SchedulerParameters")
            mostOfArray = ReadParameter(value, "max_array_tasks");
    }
    if (mostOfArray)
        limits.arraySize = std::min(limits.arraySize, *mostOfArray);
    return limits;
}

unsigned ReadSubmitLimit(std::string_view text)
{
    const std::vector<Association> all = ReadAssociations(text);
    std::vector<unsigned> numbers;
    for (const Association &one : all)
    {
        if (!one.isUsual || one.user.empty())
            continue;
        AddNumber(one.mostSubmitted, numbers);
        AddNumber(one.mostOfGroup, numbers);
        AddGroups(all, one.account, numbers);
    }
    return numbers.empty() ? 0 : *std::ranges::min_element(numbers);
}

std::uint64_t ReadArrayNumber(std::string_view text)
{
    std::uint64_t number = 0;
    return ReadNumber(Trimmed(text.substr(0, text.find_first_of(";\n"))), number) ? number : 0;
}

String WordsOf(std::string_view errors)
{
    std::vector<std::string_view> all;
    std::string_view other;
    while (!errors.empty())
    {
        std::string_view line = Trimmed(TakePart(errors, '\n'));
        if (other.empty())
            other = line;
        bool isMarked = false;
        for (const std::string_view mark : {"error: ", "fatal: ", "Batch job submission failed: "})
            if (const std::size_t place = line.find(mark); place != std::string_view::npos)
            {
                line.remove_prefix(place + mark.size());
                isMarked = true;
            }
        if (isMarked && std::ranges::find(all, line) == all.end())
            all.push_back(line);
    }
    if (all.empty())
        all.push_back(other);
    std::string words;
    for (const std::string_view one : all)
        words.append(words.empty() ? "" : "; ").append(one);
    if (words.size() > k_most_words)
        words.replace(k_most_words, std::string::npos, "...");
    return corvan::MakeUtf8(words);
}

bool IsSubmitLimit(const String &words)
{
    if (words.find("SubmitJob") != String::npos)
        return true;
    // Not where another limit is named ("QOSMaxCpuPerJobLimit").
    return words.find("job submit limit") != String::npos && words.find("Limit; ") == String::npos;
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
