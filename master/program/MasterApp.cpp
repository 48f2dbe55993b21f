#include "master/program/MasterApp.h"

#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/signal_set.hpp>
#include <csignal>
#include <cstdio>
#include <memory>

#include "corvan/GrpcChannel.h"
#include "corvan/JobFactory.h"
#include "master/Master.h"
#include "master/door/Tokens.h"
#include "master/program/NoticeOptions.h"
#include "master/program/SlurmOptions.h"
#include "master/run/LocalRunner.h"
#include "master/vitals/ServiceManager.h"
#include "ostrel/CallEntry.h"
#include "ostrel/DescriptorLimit.h"
#include "ostrel/Log.h"
#include "ostrel/RunLoop.h"

namespace master
{

using ostrel::_CallEntry;

namespace
{

constexpr std::chrono::minutes k_personal_idle{10};
constexpr std::chrono::seconds k_patience{3};
constexpr std::chrono::seconds k_check_patience{1};
constexpr int k_day = 86'400;
constexpr int k_last_port = 65'535;

// 0 is for none; a number that is no port is no reason to run without what was asked for.
std::optional<std::uint16_t> ReadStatusPort(const ostrel::IniFile &options)
{
    const int port = options.GetValue("Master", "StatusPort", 0);
    if (port < 0 || port > k_last_port)
        throw new UsageException("StatusPort " + std::to_string(port) + ": it has to be a number " +
                                 "from 1 to " + std::to_string(k_last_port) + ", or 0 for none");
    return port == 0 ? std::nullopt : std::optional(std::uint16_t(port));
}

std::chrono::seconds ReadPause(const ostrel::IniFile &options, const char *key,
                               std::chrono::milliseconds usual)
{
    const auto seconds = int(std::chrono::duration_cast<std::chrono::seconds>(usual).count());
    return std::chrono::seconds(std::clamp(options.GetValue("Tasks", key, seconds), 0, k_day));
}

// Again with each signal. `status` is what the service manager shows.
void ReloadOnSignal(boost::asio::signal_set &signals, Master &theMaster, const String &status)
{
    signals.async_wait(
        [&](const boost::system::error_code &error, int)
        {
            if (error)
                return;
            TellReloading();
            theMaster.Reload();
            TellReady(status);
            ReloadOnSignal(signals, theMaster, status);
        });
}

} // namespace

MasterApp::MasterApp() : CorvanApp("CorvanMaster", ostrel::k_LogWarning, ostrel::k_LogInfo)
{
    _CallEntry call("MasterApp::MasterApp", __FILE__, __LINE__);
}

bool MasterApp::Run(const CommandLine &commandLine)
{
    _CallEntry call("MasterApp::Run", __FILE__, __LINE__);

    const MasterOptions options = ReadMasterOptions(commandLine);
    if (!StartCorvan(commandLine))
        return false;
    corvan::RouteGrpcLog();
    corvan::JobFactory::s_JobFactory.LoadInstalledTypes();

    MasterSettings settings;
    settings.data = options.data;
    settings.server.address = options.address;
    settings.server.tokensFile = TokensFileIn(options.data);
    settings.server.socketRole = ReadSocketRole(Options());
    if (options.address.kind == corvan::MasterAddress::Kind::Tcp)
        settings.server.security = corvan::TcpSecurity::Load(Options());
    Pauses &pauses = settings.pauses;
    pauses.firstOfTask = ReadPause(Options(), "PauseAfterFailure", pauses.firstOfTask);
    pauses.secondOfTask = ReadPause(Options(), "PauseAfterSecondFailure", pauses.secondOfTask);
    if (options.isPersonal)
        settings.endWhenIdle = k_personal_idle;
    settings.keepDays = Options().GetValue("Master", "KeepDays", 0u);
    settings.statusPort = ReadStatusPort(Options());
    settings.checkPatience = k_check_patience;
    settings.notices = ReadNotices(Options());

    const Engine engine = ReadEngine(commandLine, Options());
    const std::optional<CommandUser> user = ReadCommandUser(Options(), options.data);
    settings.commandUser = user;
    const std::size_t filesOfCommands = ostrel::RaiseDescriptorLimit();
    boost::asio::io_context loop;
    (engine == Engine::Slurm ? settings.share : settings.formerShare) = ReadSlurmFolder(Options());
    const std::unique_ptr<CommandRunner> runner =
        engine == Engine::Slurm ? MakeSlurmRunner(loop, Options(), {k_patience, filesOfCommands})
                                : std::make_unique<LocalRunner>(loop, int(options.slots),
                                                                k_patience, filesOfCommands, user);
    Master theMaster(loop, settings, *runner);
    boost::asio::signal_set signals(loop, SIGTERM, SIGINT);
    signals.async_wait(
        [&theMaster](const boost::system::error_code &error, int)
        {
            if (!error)
                theMaster.Stop();
        });

    const String line = "corvan-master: listening on " + theMaster.Connections().Address() +
                        ", data in " + options.data.Text();
    boost::asio::signal_set reloads(loop, SIGHUP);
    ReloadOnSignal(reloads, theMaster, line);
    std::puts(line.c_str());
    std::fflush(stdout);
    ostrel::LogStatus(line);
    if (user)
        ostrel::LogStatus("commands run as user " + user->name);
    if (const auto port = theMaster.StatusPort())
        ostrel::LogStatus("/metrics and /healthz at 127.0.0.1:" + std::to_string(*port));
    // Whoever started it keeps what it says on its way up, and no more.
    if (options.isPersonal && !std::freopen("/dev/null", "w", stderr))
        ostrel::LogWarning("standard error stays open");
    // The first turn was posted before.
    boost::asio::post(loop, [&line] { TellReady(line); });
    ostrel::RunLoop(loop);
    if (!theMaster.Damage().empty())
        throw new StoreException(theMaster.Damage());
    return true;
}

} // namespace master
