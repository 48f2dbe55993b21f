#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "master/run/CommandRunner.h"
#include "master/run/KeeperProcess.h"
#include "master/run/OthersLook.h"
#include "master/run/TaskGroups.h"
#include "ostrel/LoopThread.h"

namespace master
{

using ostrel::LoopThread;

/// Runs commands on this machine, each held by a keeper of its own (`KeeperProcess`): it and all
/// that it started have gone when its end is told.
class LocalRunner : public CommandRunner
{
public:
    /// `patience` is how long a command that is to end may take before it is killed, `files` how
    /// many files it may have open: 0 for as many as this program. They run as `user`, or as
    /// whoever runs this program; another one is one that `FindCommandUser` gave.
    LocalRunner(boost::asio::io_context &loop, int slots, std::chrono::milliseconds patience,
                std::size_t files = 0, std::optional<CommandUser> user = {});
    /// Kills what still runs; the listener is not told any more.
    ~LocalRunner() override;

    void Begin(const UID &master, std::function<void()> isAlone) override;
    int FreeSlots() const override;
    bool Start(const Command &command, RunListener &listener, String *error) override;
    void End(int run) override;

private:
    struct Process;

    void LookForOthers(const std::function<void()> &isAlone);
    bool IsAlone();
    int FreeSlot() const;
    CommandPlace PlaceFor(const Command &command, int slot);
    void ReadReports(int run);
    void TakeReports(int run, Process &process);
    void Collect(int run);
    void CollectLater(int run);
    void EndOrphans();
    void RemoveGroup(const Path &group);

    boost::asio::io_context &m_loop;
    int m_slots;
    const KeeperSettings m_settings;
    UID m_master{true};
    std::optional<TaskGroups> m_groups; // Where there are none the keepers do it alone.
    bool m_waitsForOthers = false;
    bool m_hasToldOfOthers = false;
    bool m_hasToldOfLook = false;
    std::optional<OthersLook> m_look;                  // While there is one under way,
    std::chrono::steady_clock::time_point m_lookBegan; // and since when.
    std::chrono::milliseconds m_lookPause{0};
    boost::asio::steady_timer m_lookTimer;
    LoopThread m_thread;
    std::map<int, std::unique_ptr<Process>> m_processes;

    // A run whose keeper was killed. It is over when nothing is left of what the keeper held.
    struct LostRun
    {
        int run = 0;
        RunEnd end;
        RunListener *listener = nullptr;
        Path group;
    };
    std::vector<LostRun> m_lost;
    boost::asio::steady_timer m_orphanTimer;
    int m_orphanLooks = 0;
};

} // namespace master
