#pragma once

#include <boost/asio/io_context.hpp>
#include <functional>
#include <future>
#include <memory>
#include <thread>

#include "master/Master.h"

/// A Master that runs in this process on a thread of its own, from when this is made until it
/// goes, on its own socket file in the data folder where no address is given.
class RunningMaster
{
public:
    explicit RunningMaster(master::MasterSettings settings, int slots = 2);
    ~RunningMaster();
    RunningMaster(const RunningMaster &) = delete;
    RunningMaster &operator=(const RunningMaster &) = delete;

    /// As gRPC takes it.
    const std::string &Address() const
    {
        return m_address;
    }

    /// Of /metrics and /healthz; 0 where there are none.
    std::uint16_t StatusPort() const
    {
        return m_statusPort;
    }

    /// Why it could not be started; empty when it runs.
    const std::string &Error() const
    {
        return m_error;
    }

    /// Why it has ended by itself, once it has: see `Master::Damage`.
    const ostrel::String &Damage() const
    {
        return m_damage;
    }

    /// For what is run on its thread.
    master::Master &Get()
    {
        return *m_master;
    }

    /// Runs something on the Master's thread and waits until it is done.
    void OnLoop(const std::function<void()> &work);

    /// Asks the Master to end and waits for it.
    void Stop();
    /// Waits until the Master ends by itself; false when it has not after half a minute.
    bool WaitForEnd();

private:
    void Run(const master::MasterSettings &settings, int slots, std::promise<void> &isReady);

    boost::asio::io_context m_loop;
    master::Master *m_master = nullptr;
    std::string m_address;
    std::string m_error;
    ostrel::String m_damage;
    std::uint16_t m_statusPort = 0;
    std::promise<void> m_ended;
    std::future<void> m_hasEnded = m_ended.get_future();
    std::jthread m_thread;
};

/// Settings of a Master with its data and its socket in this folder.
master::MasterSettings SettingsIn(const ostrel::Path &folder);
