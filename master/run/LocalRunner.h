#pragma once

#include <boost/asio/io_context.hpp>
#include <chrono>
#include <map>
#include <memory>

#include "master/run/CommandRunner.h"
#include "master/run/ProcessGroup.h"
#include "ostrel/LoopThread.h"

namespace master
{

using ostrel::LoopThread;

/// Runs commands as child processes of this program, each in a process group of its own.
///
/// A command ends with its group: what it left running is killed when its first process ends.
class LocalRunner : public CommandRunner
{
public:
    /// `patience` is how long a command that is to end may take before it is killed. `owner` names
    /// the Master, whatever process it is, in the environment of its commands: its data folder.
    LocalRunner(boost::asio::io_context &loop, int slots, std::chrono::milliseconds patience,
                const String &owner);
    /// Kills what still runs; the listener is not told any more.
    ~LocalRunner() override;

    void EndLeftovers() override;
    int FreeSlots() const override;
    bool Start(const Command &command, RunListener &listener, String *error) override;
    void End(int run) override;

private:
    struct Process;

    void WaitFor(int run);
    void OnEnded(int run);

    boost::asio::io_context &m_loop;
    int m_slots;
    std::chrono::milliseconds m_patience;
    ProcessMark m_mark;
    LoopThread m_thread;
    std::map<int, std::unique_ptr<Process>> m_processes;
};

} // namespace master
