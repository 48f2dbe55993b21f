#include "corvan/JobType.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <sstream>

#include "corvan/ArgumentSection.h"
#include "corvan/ParameterCheck.h"
#include "corvan/Utf8.h"
#include "ostrel/Exception.h"
#include "ostrel/File.h"
#include "ostrel/IniFile.h"
#include "ostrel/StringTokenizer.h"

namespace corvan
{

namespace
{

using ostrel::IniFile;
using ostrel::Path;

constexpr std::size_t k_most_bytes = 1u << 20;
const char *const k_command = "Command.";

[[noreturn]] void Refuse(const String &why)
{
    throw new ostrel::Exception(why);
}

void CheckSections(const IniFile &file)
{
    for (const String &section : file.Sections())
    {
        const bool isCommand =
            section.starts_with(k_command) &&
            ParseArgumentNumber(section.substr(std::string_view(k_command).size())) > 0;
        if (!isCommand && section != "Type" && section != "Defaults" && section != "Render" &&
            section != "Run" && section != "Paths")
            Refuse("section \"" + Excerpt(section) + "\" is not known");
    }
}

void CheckKeys(const IniFile &file, const String &section, std::initializer_list<const char *> keys)
{
    for (const String &key : file.Keys(section))
        if (std::ranges::find(keys, std::string_view(key)) == keys.end())
            Refuse("key \"" + Excerpt(key) + "\" of section \"" + section + "\" is not known");
}

bool ReadFlag(const IniFile &file, const String &section, const String &key, bool defaultValue)
{
    if (!file.FindText(section, key))
        return defaultValue;
    // A text that is neither gives the default whatever that is.
    const bool isSet = file.GetValue(section, key, false);
    if (isSet != file.GetValue(section, key, true))
        Refuse("key \"" + key + "\" of section \"" + section + "\" is neither yes nor no");
    return isSet;
}

void ReadType(const IniFile &file, JobType &type)
{
    CheckKeys(file, "Type", {"Id", "Name", "RendersFrames", "CustomRange"});
    if (!type.id.FromString(file.FindText("Type", "Id").value_or(String())))
        Refuse("key \"Id\" of section \"Type\" is no identifier");
    type.name = file.FindText("Type", "Name").value_or(String());
    if (type.name.empty() || HasControlCharacters(type.name))
        Refuse("key \"Name\" of section \"Type\" is no name");
    type.rendersFrames = ReadFlag(file, "Type", "RendersFrames", true);
    type.hasCustomRange = ReadFlag(file, "Type", "CustomRange", type.rendersFrames);
    if (type.hasCustomRange && !type.rendersFrames)
        Refuse("a type that renders no frames has no custom range");
}

void ReadDefaults(const IniFile &file, JobType &type)
{
    for (const String &name : file.Keys("Defaults"))
    {
        const String value = file.FindText("Defaults", name).value_or(String());
        if (const String reason = CheckParameterText(name, value); !reason.empty())
            Refuse("section \"Defaults\": " + reason);
        if (name == p_Status || name == p_UserRange || name == p_RequeueOf || name == p_After ||
            name == p_AfterGood || IsMasterParameter(name) ||
            (name == p_CustomRange && !type.hasCustomRange) ||
            (name == p_CheckFrames && !type.rendersFrames))
            Refuse("section \"Defaults\": " + name + " has no default");
        type.defaults.emplace_back(name, value);
    }
}

/// One of the numbers of section "Run" that are no limits of a command.
struct StuckName
{
    const char *name;
    unsigned StuckLimits::*value;
    unsigned most;
};
constexpr StuckName k_stuck_names[] = {
    {"StuckTimes", &StuckLimits::slowTimes, 1'000},
    {"StuckSeconds", &StuckLimits::slowSeconds, 1'000'000'000},
    {"SilentSeconds", &StuckLimits::silentSeconds, 1'000'000'000},
};

void ReadStuck(const IniFile &file, StuckLimits &stuck)
{
    for (const StuckName &one : k_stuck_names)
    {
        const String text = file.FindText("Run", one.name).value_or(String());
        if (text.empty())
            continue;
        unsigned number = 0;
        const char *const end = text.data() + text.size();
        const auto [stopped, error] = std::from_chars(text.data(), end, number);
        if (error != std::errc() || stopped != end || number > one.most)
            Refuse("section \"Run\": " + String(one.name) + ": \"" + Excerpt(text) +
                   "\" is not a whole number from 0 to " + std::to_string(one.most));
        stuck.*one.value = number;
    }
    stuck.ends = ReadFlag(file, "Run", "EndStuck", false);
}

bool IsRunKey(const String &key)
{
    return key == "WritesFiles" || key == "KeepOld" || key == "PassEnvironment" ||
           key == "EndStuck" || FindRunLimit(key) ||
           std::ranges::find(k_stuck_names, std::string_view(key), &StuckName::name) !=
               std::end(k_stuck_names);
}

void ReadRun(const IniFile &file, JobType &type)
{
    for (const String &key : file.Keys("Run"))
        if (!IsRunKey(key))
            Refuse("key \"" + Excerpt(key) + "\" of section \"Run\" is not known");
    type.writesFiles = ReadFlag(file, "Run", "WritesFiles", type.rendersFrames);
    type.keepsOld = ReadFlag(file, "Run", "KeepOld", true);
    ReadStuck(file, type.stuck);
    std::istringstream names(file.FindText("Run", "PassEnvironment").value_or(String()));
    for (std::string name; names >> name;)
        type.passEnvironment.emplace_back(name);
    for (const RunLimitName &limit : RunLimitNames())
    {
        const String text = file.FindText("Run", limit.name).value_or(String());
        if (const String reason = CheckRunLimit(limit, text); !reason.empty())
            Refuse("section \"Run\": " + reason);
        if (!text.empty())
            type.limits.*limit.value = ReadRunLimit(text);
    }
}

std::vector<Path> ReadRoots(const String &value, const String &parameter)
{
    std::vector<Path> roots;
    ostrel::StringTokenizer tokens(value, ';', false, '"', '\\');
    while (const auto root = tokens.GetNext())
    {
        if (!root->starts_with('/'))
            Refuse("section \"Paths\": the root \"" + Excerpt(*root) + "\" of " + parameter +
                   " is no full path");
        roots.emplace_back(*root);
    }
    return roots;
}

void ReadPaths(const IniFile &file, JobType &type)
{
    for (const String &name : file.Keys("Paths"))
        type.paths.push_back(
            {name, ReadRoots(file.FindText("Paths", name).value_or(String()), name)});
}

/// Whoever chooses a command names it by its label.
void CheckLabels(const std::map<unsigned, JobTypeCommand> &commands)
{
    std::map<String, unsigned> numbers;
    for (const auto &[number, command] : commands)
        if (const auto [first, isNew] = numbers.emplace(command.label, number); !isNew)
            Refuse("sections \"" + (k_command + std::to_string(first->second)) + "\" and \"" +
                   (k_command + std::to_string(number)) + "\" have the same label");
}

void ReadCommands(const IniFile &file, JobType &type)
{
    std::map<unsigned, JobTypeCommand> numbered;
    for (const String &section : file.Sections())
    {
        if (!section.starts_with(k_command))
            continue;
        JobTypeCommand command;
        command.label = file.FindText(section, "Label").value_or(String());
        if (command.label.empty() || HasControlCharacters(command.label))
            Refuse("section \"" + section + "\" has no label");
        command.arguments = ReadArgumentSection(file, section, {"Label"});
        const unsigned number =
            ParseArgumentNumber(section.substr(std::string_view(k_command).size()));
        if (!numbered.emplace(number, std::move(command)).second)
            Refuse("section \"" + section + "\" has the number of another");
    }
    CheckLabels(numbered);
    for (auto &[number, command] : numbered)
        type.commands.push_back(std::move(command));
}

JobType Read(const Path &path)
{
    IniFile file;
    String error;
    if (!file.Parse(ostrel::File::ReadWhole(path, k_most_bytes), &error))
        Refuse(error);

    JobType type;
    CheckSections(file);
    ReadType(file, type);
    ReadDefaults(file, type);
    type.renderCommand = ReadArgumentSection(file, "Render", {"Label"});
    ReadRun(file, type);
    ReadCommands(file, type);
    ReadPaths(file, type);
    return type;
}

} // namespace

JobType JobType::Load(const Path &file)
{
    try
    {
        return Read(file);
    }
    catch (ostrel::Exception *raw)
    {
        const std::unique_ptr<ostrel::Exception> error(raw);
        throw new ostrel::Exception("cannot use job type " + file.Text() + ": " + error->Text());
    }
}

std::optional<String> JobType::FindDefault(const String &parameter) const
{
    const auto found = std::ranges::find(defaults, parameter, &std::pair<String, String>::first);
    if (found == defaults.end())
        return std::nullopt;
    return found->second;
}

bool JobType::IsPath(const String &parameter) const
{
    return std::ranges::find(paths, parameter, &JobTypePath::parameter) != paths.end();
}

} // namespace corvan
