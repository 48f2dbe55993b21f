#include "master/program/SlurmOptions.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

#include "master/program/MasterOptions.h"
#include "master/slurm/SlurmCommands.h"
#include "ostrel/Attempt.h"
#include "ostrel/Folders.h"
#include "ostrel/Log.h"

namespace master
{

namespace
{

const char *const k_section = "Slurm";

// Refused rather than left out: it is part of what somebody counts on.
int ReadNumber(const ostrel::IniFile &options, const char *key, int usual, int least, int most)
{
    const int number = options.GetValue(k_section, key, usual);
    if (number < least || number > most)
        throw new UsageException(
            String(key) + " = " + std::to_string(number) +
            " in section \"Slurm\" of the options: it has to be a number from " +
            std::to_string(least) + " to " + std::to_string(most));
    return number;
}

Path ReadPath(const ostrel::IniFile &options, const char *key)
{
    const String path = options.GetValue(k_section, key, String());
    if (!path.empty() && !path.starts_with('/'))
        throw new UsageException(String(key) + " = " + path +
                                 " in section \"Slurm\" of the options: it has to be a full path");
    return path;
}

// As Slurm's own commands find it.
Path ReadConf(const ostrel::IniFile &options)
{
    if (const Path conf = ReadPath(options, "Conf"); !conf.Text().empty())
        return conf;
    const char *const conf = std::getenv("SLURM_CONF");
    return conf ? Path(String(conf)) : Path();
}

} // namespace

Path ReadSlurmFolder(const ostrel::IniFile &options)
{
    return ReadPath(options, "Folder");
}

std::unique_ptr<CommandRunner> MakeSlurmRunner(boost::asio::io_context &loop,
                                               const ostrel::IniFile &options,
                                               const KeeperSettings &keeper)
{
    SlurmSettings settings;
    settings.folder = ReadSlurmFolder(options);
    if (settings.folder.Text().empty())
        throw new UsageException("--engine slurm: key Folder in section \"Slurm\" of the options "
                                 "has to name a folder on a share that all nodes have at the same "
                                 "place");
    settings.program = ReadPath(options, "TaskProgram");
    if (settings.program.Text().empty())
        settings.program = ostrel::ProgramFolder().Parent() / "libexec/ordwick/corvan-task";
    settings.lookEach = std::chrono::seconds(ReadNumber(options, "LookEachSeconds", 2, 1, 300));
    settings.lease = std::chrono::seconds(ReadNumber(options, "LeaseSeconds", 20, 2, 3600));
    settings.mostTasks = unsigned(ReadNumber(options, "MostTasks", 0, 0, 4'000'000));
    settings.niceStep = ReadNumber(options, "NiceStep", 100, 0, 10'000'000);
    settings.keeper = keeper;

    const Path conf = ReadConf(options);
    // Slurm's own commands look for it for a minute.
    if (!conf.Text().empty() && ::access(conf.Text().c_str(), R_OK) != 0)
        throw new ostrel::Exception("there is no Slurm to hand commands to: cannot read " +
                                    conf.Text() + ": " + std::strerror(errno));
    std::stop_source stop;
    auto cluster =
        std::make_unique<SlurmCommands>(SlurmCommands::Settings{.conf = conf}, stop.get_token());
    ClusterLimits limits;
    if (const auto reason = ostrel::Attempt([&] { limits = cluster->ReadLimits(); }))
        throw new ostrel::Exception("there is no Slurm to hand commands to: " + *reason);
    ostrel::LogStatus("commands are handed to Slurm " + limits.version + ", cluster " +
                      limits.name + ": arrays of " + std::to_string(limits.arraySize) + ", " +
                      std::to_string(limits.jobs) + " jobs of all users");
    return std::make_unique<SlurmRunner>(loop, std::move(cluster), limits, settings, stop);
}

} // namespace master
