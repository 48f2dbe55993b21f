#include "wxcorvan/JobCommands.h"

#include <algorithm>
#include <charconv>
#include <set>

#include <wx/translation.h>

#include "corvan/JobActions.h"
#include "ostrel/Log.h"

namespace wxcorvan
{

using namespace corvan;
using ostrel::IniFile;
using ostrel::LogWarning;

namespace
{

constexpr int k_default_priority = 50;

int NumberOr(const String &text, int otherwise)
{
    int number = otherwise;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

JobCommand StatusWish(const char *label, JobStatus status)
{
    return {"Master", label, p_Status, std::to_string(int(status)), {}};
}

JobCommand PriorityWish(const char *label, int priority)
{
    return {"Master",
            label,
            p_Priority,
            std::to_string(std::clamp(priority, k_LowestPriority, k_HighestPriority)),
            {}};
}

void AddPriorityWishes(const Job &job, std::vector<JobCommand> &commands)
{
    const int priority = NumberOr(job.ParameterText(p_Priority, true), k_default_priority);
    if (priority < k_HighestPriority)
        commands.push_back(PriorityWish(wxTRANSLATE("Raise Priority"), priority + k_PriorityStep));
    if (priority > k_LowestPriority)
        commands.push_back(PriorityWish(wxTRANSLATE("Lower Priority"), priority - k_PriorityStep));
}

/// Of a wish for a status.
const char *LabelOf(JobAction action)
{
    switch (action)
    {
    case JobAction::RunAgain:
        return wxTRANSLATE("Run Again");
    case JobAction::Resume:
        return wxTRANSLATE("Resume");
    case JobAction::Pause:
        return wxTRANSLATE("Pause");
    case JobAction::Cancel:
        return wxTRANSLATE("Cancel");
    case JobAction::SetPriority:
        break;
    }
    return "";
}

/// The N of every "Command.N." key, in order.
std::set<int> CommandNumbers(const IniFile &options, const String &section)
{
    constexpr std::string_view k_prefix = "command.";
    std::set<int> numbers;
    for (String key : options.Keys(section))
    {
        std::transform(key.begin(), key.end(), key.begin(),
                       [](unsigned char c)
                       { return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : char(c); });
        if (!key.starts_with(k_prefix))
            continue;
        int number = 0;
        const char *end = key.data() + key.size();
        const auto [rest, error] = std::from_chars(key.data() + k_prefix.size(), end, number);
        if (error == std::errc() && rest != end && *rest == '.')
            numbers.insert(number);
    }
    return numbers;
}

using FindText = std::optional<String> (IniFile::*)(const String &, const String &) const;

JobCommand ReadCommand(const IniFile &options, FindText find, const String &section,
                       const String &prefix)
{
    JobCommand command;
    command.group = "Options";
    command.label = (options.*find)(section, prefix + "Label").value_or(String());
    for (int i = 1;; ++i)
    {
        const auto argument = (options.*find)(section, prefix + std::to_string(i));
        if (!argument)
            return command;
        command.arguments.push_back(*argument);
    }
}

bool IsEmpty(const JobCommand &command)
{
    return command.label.empty() && command.arguments.empty();
}

/// Those of one number: two where both the options that are shared and the user's own have one. The
/// keys of one say nothing of the other.
std::vector<JobCommand> ReadCommands(const IniFile &options, const String &section,
                                     const String &prefix)
{
    const JobCommand shared = ReadCommand(options, &IniFile::FindBorrowedText, section, prefix);
    const JobCommand own = ReadCommand(options, &IniFile::FindOwnText, section, prefix);
    if (IsEmpty(shared))
        return {own};
    return IsEmpty(own) ? std::vector{shared} : std::vector{shared, own};
}

bool HasLabel(const std::vector<JobCommand> &commands, const String &label)
{
    return std::any_of(commands.begin(), commands.end(),
                       [&label](const JobCommand &command) { return command.label == label; });
}

} // namespace

std::vector<JobCommand> ListMasterCommands(const Job &job)
{
    const JobStatus status =
        ParseStatus(job.ParameterText(p_Status, true)).value_or(JobStatus::Queued);
    std::vector<JobCommand> commands;
    for (const JobAction action : ListJobActions(status))
    {
        if (const auto wanted = WantedStatus(action))
            commands.push_back(StatusWish(LabelOf(action), *wanted));
        else
            AddPriorityWishes(job, commands);
    }
    return commands;
}

std::vector<JobCommand> ListOptionCommands(const IniFile &options, const String &section)
{
    std::vector<JobCommand> commands;
    for (const int number : CommandNumbers(options, section))
    {
        const String prefix = "Command." + std::to_string(number) + ".";
        for (const JobCommand &command : ReadCommands(options, section, prefix))
        {
            const char *wrong = nullptr;
            if (command.label.empty() || command.arguments.empty())
                wrong = " has no label or no arguments";
            else if (HasLabel(commands, command.label))
                wrong = " has the label of an earlier command";

            if (wrong)
                LogWarning("options, section " + section + ": " + prefix + wrong);
            else
                commands.push_back(command);
        }
    }
    return commands;
}

std::vector<JobCommand> ListJobCommands(const Job &job, const IniFile &options)
{
    std::vector<JobCommand> commands = ListMasterCommands(job);
    const std::vector<JobCommand> own = ListOptionCommands(options, job.Type().id.ToString());
    for (const JobTypeCommand &command : job.Type().commands)
    {
        if (!HasLabel(own, command.label))
            commands.push_back({"Type", command.label, {}, {}, command.arguments});
    }
    commands.insert(commands.end(), own.begin(), own.end());
    return commands;
}

} // namespace wxcorvan
