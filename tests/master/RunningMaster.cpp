#include "tests/master/RunningMaster.h"

#include <boost/asio/post.hpp>
#include <chrono>

#include "master/run/LocalRunner.h"
#include "ostrel/Exception.h"
#include "ostrel/RunLoop.h"

using master::MasterSettings;

RunningMaster::RunningMaster(MasterSettings settings, int slots)
{
    std::promise<void> isReady;
    m_thread = std::jthread([&, settings, slots] { Run(settings, slots, isReady); });
    isReady.get_future().wait();
}

RunningMaster::~RunningMaster()
{
    Stop();
}

void RunningMaster::Run(const MasterSettings &settings, int slots, std::promise<void> &isReady)
{
    try
    {
        master::LocalRunner runner(m_loop, slots, std::chrono::milliseconds(300));
        master::Master theMaster(m_loop, settings, runner);
        m_master = &theMaster;
        m_address = theMaster.Connections().Address();
        m_statusPort = theMaster.StatusPort().value_or(0);
        isReady.set_value();
        ostrel::RunLoop(m_loop);
        m_damage = theMaster.Damage();
    }
    catch (ostrel::Exception *raw)
    {
        const std::unique_ptr<ostrel::Exception> error(raw);
        m_error = error->Text();
        isReady.set_value();
    }
    m_ended.set_value();
}

void RunningMaster::OnLoop(const std::function<void()> &work)
{
    std::promise<void> isDone;
    boost::asio::post(m_loop,
                      [&]
                      {
                          work();
                          isDone.set_value();
                      });
    isDone.get_future().wait_for(std::chrono::seconds(30));
}

void RunningMaster::Stop()
{
    if (m_thread.joinable() && m_error.empty())
        boost::asio::post(m_loop, [this] { m_master->Stop(); });
    if (m_thread.joinable())
        m_thread.join();
}

bool RunningMaster::WaitForEnd()
{
    return m_hasEnded.wait_for(std::chrono::seconds(30)) == std::future_status::ready;
}

MasterSettings SettingsIn(const ostrel::Path &folder)
{
    MasterSettings settings;
    settings.data = folder / "data";
    // Nobody waits for those of the farm.
    settings.pauses.firstOfJob = std::chrono::milliseconds(20);
    settings.pauses.firstOfTask = settings.pauses.secondOfTask = std::chrono::milliseconds(20);
    settings.server.address =
        corvan::MasterAddress::Parse((folder / "m.sock").Text(), nullptr).value();
    return settings;
}
