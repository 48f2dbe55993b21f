#include "master/MasterApp.h"

#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>
#include <csignal>
#include <cstdio>

#include "corvan/GrpcChannel.h"
#include "corvan/JobFactory.h"
#include "master/Master.h"
#include "master/RunLoop.h"
#include "master/run/LocalRunner.h"
#include "ostrel/CallEntry.h"
#include "ostrel/Log.h"

namespace master
{

using ostrel::_CallEntry;

namespace
{

constexpr std::chrono::minutes k_personal_idle{10};
constexpr std::chrono::seconds k_patience{3};
constexpr int k_day = 86'400;

std::chrono::seconds ReadPause(const ostrel::IniFile &options, const char *key,
                               std::chrono::milliseconds usual)
{
    const auto seconds = int(std::chrono::duration_cast<std::chrono::seconds>(usual).count());
    return std::chrono::seconds(std::clamp(options.GetValue("Tasks", key, seconds), 0, k_day));
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
    if (options.address.kind == corvan::MasterAddress::Kind::Tcp)
        settings.server.security = corvan::TcpSecurity::Load(Options());
    Pauses &pauses = settings.pauses;
    pauses.firstOfTask = ReadPause(Options(), "PauseAfterFailure", pauses.firstOfTask);
    pauses.secondOfTask = ReadPause(Options(), "PauseAfterSecondFailure", pauses.secondOfTask);
    if (options.isPersonal)
        settings.endWhenIdle = k_personal_idle;
    settings.keepDays = Options().GetValue("Master", "KeepDays", 0u);

    boost::asio::io_context loop;
    LocalRunner runner(loop, int(options.slots), k_patience);
    Master theMaster(loop, settings, runner);
    boost::asio::signal_set signals(loop, SIGTERM, SIGINT);
    signals.async_wait(
        [&theMaster](const boost::system::error_code &error, int)
        {
            if (!error)
                theMaster.Stop();
        });

    const String line = "corvan-master: listening on " + theMaster.Connections().Address() +
                        ", data in " + options.data.Text();
    std::puts(line.c_str());
    std::fflush(stdout);
    ostrel::LogStatus(line);
    // Whoever started it keeps what it says on its way up, and no more.
    if (options.isPersonal && !std::freopen("/dev/null", "w", stderr))
        ostrel::LogWarning("standard error stays open");
    RunLoop(loop);
    return true;
}

} // namespace master
