#include "bench/day/DayMaster.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>
#include <csignal>
#include <fstream>

#include "bench/day/DayBook.h"
#include "bench/day/DrawnRunner.h"
#include "bench/day/FastClock.h"
#include "corvan/JobFactory.h"
#include "master/Master.h"
#include "master/door/Server.h"
#include "ostrel/DescriptorLimit.h"
#include "ostrel/Log.h"
#include "ostrel/RunLoop.h"

namespace bench
{

void RunDayMaster(const DayFiles &files, const DaySize &size)
{
    ostrel::LogSettings log;
    log.consoleLevel = ostrel::k_LogError;
    log.file = ostrel::Path(files.log);
    ostrel::LogStart(log);
    corvan::JobFactory::s_JobFactory.LoadInstalledTypes();
    ostrel::RaiseDescriptorLimit();

    const DayPlan plan(size);
    DayBook book(files.book, size.packets);
    boost::asio::io_context loop;
    auto clock = std::make_unique<FastClock>(loop, book.Common().beganNs, size.faster);
    DrawnRunner runner(plan, book, *clock);

    master::MasterSettings settings;
    settings.data = ostrel::Path(files.data);
    settings.share = settings.data / "share";
    settings.statusPort = 0;
    settings.checkPatience = std::chrono::seconds(1);
    settings.server.address = *corvan::MasterAddress::Parse("unix:" + files.socket, nullptr);
    const auto openDoor = [&loop,
                           &settings](const master::UID &identity, const master::Health &health,
                                      master::Door::User &user) -> std::unique_ptr<master::Door>
    {
        master::ServerSettings server = settings.server;
        server.health = &health;
        return std::make_unique<master::Server>(loop, server, identity, user);
    };
    master::Master theMaster(loop, settings, {std::move(clock), runner, openDoor});

    boost::asio::signal_set signals(loop, SIGTERM);
    signals.async_wait(
        [&theMaster](const boost::system::error_code &error, int)
        {
            if (!error)
                theMaster.Stop();
        });
    std::ofstream(files.port) << *theMaster.StatusPort() << '\n';
    ostrel::RunLoop(loop);
}

} // namespace bench
