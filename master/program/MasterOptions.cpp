#include "master/program/MasterOptions.h"

#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <sys/stat.h>
#include <thread>
#include <vector>

#include "ostrel/Folders.h"
#include "ostrel/IniFile.h"

namespace master
{

using corvan::MasterAddress;
using ostrel::CommandLineOption;

namespace
{

// The value of an option, else of an environment name, else nothing; with what named it.
struct Given
{
    String value;
    String from;
};

std::optional<Given> FindGiven(const CommandLine &commandLine, const char *option,
                               const char *environment)
{
    if (commandLine.HasOption(option))
        return Given{commandLine.GetArgument(option, 0, {}), String("--") + option};
    const char *value = std::getenv(environment);
    if (value && *value)
        return Given{value, environment};
    return std::nullopt;
}

MasterAddress ReadAddress(const CommandLine &commandLine)
{
    const std::optional<Given> given = FindGiven(commandLine, "listen", "CORVAN_MASTER");
    if (!given)
        return MasterAddress::Default();
    String reason;
    const std::optional<MasterAddress> address = MasterAddress::Parse(given->value, &reason);
    if (!address)
        throw new UsageException(given->from + " " + given->value + ": " + reason);
    return *address;
}

unsigned ReadSlots(const CommandLine &commandLine)
{
    if (!commandLine.HasOption("slots"))
        return std::max(1u, std::thread::hardware_concurrency());
    const String text = commandLine.GetArgument("slots", 0, {});
    unsigned slots = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), slots);
    if (error != std::errc() || end != text.data() + text.size() || slots > k_MaxSlots)
        throw new UsageException("--slots " + text + ": it has to be a number from 0 to " +
                                 std::to_string(k_MaxSlots));
    return slots;
}

} // namespace

std::span<const CommandLineOption> MasterCommandLineOptions()
{
    static const std::vector<CommandLineOption> options = []
    {
        std::vector<CommandLineOption> all{
            {"data", "DIR", "folder of the job store and the logs of the tasks"},
            {"listen", "ADDRESS", "unix:/path/to.sock, or HOST:PORT with TLS and a token"},
            {"engine", "NAME", "local: this machine runs the commands, slurm: a cluster does"},
            {"slots", "N", "commands at once; as many as cores where not given, 0 runs none"},
            {"personal", "", "end after 10 minutes without clients and work"},
        };
        for (const CommandLineOption &option : ostrel::CommonOptions())
            if (option.name != "master")
                all.push_back(option);
        return all;
    }();
    return options;
}

Path ReadDataFolder(const CommandLine &commandLine)
{
    const std::optional<Given> given = FindGiven(commandLine, "data", "CORVAN_DATA");
    if (!given)
        return ostrel::DataFolder() / "Corvan";
    if (given->value.empty())
        throw new UsageException(given->from + ": the folder has no name");
    std::error_code error;
    const std::string data = std::filesystem::absolute(given->value.c_str(), error).string();
    if (error)
        throw new UsageException(given->from + " " + given->value + ": " + error.message());
    if (std::filesystem::exists(data, error) && !std::filesystem::is_directory(data, error))
        throw new UsageException(given->from + " " + given->value + ": it is no folder");
    return data;
}

std::optional<Role> ReadSocketRole(const ostrel::IniFile &options)
{
    const String name = options.GetValue("Master", "SocketRole", String());
    if (name.empty())
        return std::nullopt;
    const std::optional<Role> role = ParseRole(name);
    if (!role)
        throw new UsageException("SocketRole = " + name +
                                 " in section \"Master\" of the options: " + "it has to be " +
                                 RoleNames());
    return role;
}

Engine ReadEngine(const CommandLine &commandLine, const ostrel::IniFile &options)
{
    const bool isGiven = commandLine.HasOption("engine");
    const String name = isGiven ? commandLine.GetArgument("engine", 0, {})
                                : options.GetValue("Master", "Engine", String("local"));
    if (name == "local")
        return Engine::Local;
    if (name != "slurm")
        throw new UsageException((isGiven ? "--engine " : "Engine = ") + name +
                                 ": it has to be local or slurm");
    if (commandLine.HasOption("slots"))
        throw new UsageException("--slots is for the engine local alone");
    if (!options.GetValue("Master", "RunAs", String()).empty())
        throw new UsageException(
            "RunAs in section \"Master\" of the options is for the engine local "
            "alone: a cluster runs commands as the user who hands them over, "
            "which is the Master's");
    return Engine::Slurm;
}

std::optional<CommandUser> ReadCommandUser(const ostrel::IniFile &options, const Path &data)
{
    const String name = options.GetValue("Master", "RunAs", String());
    if (name.empty())
        return std::nullopt;
    String reason;
    std::optional<CommandUser> user = FindCommandUser(name, &reason);
    // One that is not there yet is made for its owner alone.
    struct stat folder
    {
    };
    if (user && ::stat(data.Text().c_str(), &folder) == 0 &&
        (folder.st_mode & (S_IRWXG | S_IRWXO)) != 0)
        reason = "data folder " + data.Text() + " is open to others than its owner (chmod 700)";
    if (!reason.empty())
        throw new UsageException("RunAs = " + name +
                                 " in section \"Master\" of the options: " + reason);
    return user;
}

MasterOptions ReadMasterOptions(const CommandLine &commandLine)
{
    if (commandLine.CountPlain() > 0)
        throw new UsageException("unexpected argument " + commandLine.GetArgument(nullptr, 0, {}));

    MasterOptions options;
    options.data = ReadDataFolder(commandLine);
    options.address = ReadAddress(commandLine);
    options.slots = ReadSlots(commandLine);
    options.isPersonal = commandLine.HasOption("personal");
    return options;
}

} // namespace master
