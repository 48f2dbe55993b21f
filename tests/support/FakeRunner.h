#pragma once

#include <map>
#include <stdexcept>
#include <utility>
#include <vector>

#include "master/run/CommandRunner.h"

/// A runner that starts nothing: it keeps what it was asked, and a command ends when the test says
/// so.
class FakeRunner : public master::CommandRunner
{
public:
    int slots = 1;
    ostrel::String refuses; ///< Why no command can be started; empty where they can.
    ostrel::String throws;  ///< What the next start throws; empty for nothing.

    std::vector<master::Command> started;
    std::vector<int> ended; ///< Runs that `End` was called for.

    void Begin(const ostrel::UID &, std::function<void()>) override {}

    int FreeSlots() const override
    {
        return slots - int(m_running.size());
    }

    bool Start(const master::Command &command, master::RunListener &listener,
               ostrel::String *error) override
    {
        *error = refuses;
        if (!throws.empty())
            throw std::runtime_error(std::exchange(throws, {}));
        if (!refuses.empty())
            return false;
        started.push_back(command);
        m_running[command.run] = {&listener, false};
        return true;
    }

    void End(int run) override
    {
        ended.push_back(run);
    }

    /// All commands that were asked for are there.
    void TellStarts()
    {
        for (auto &[run, command] : m_running)
            if (!std::exchange(command.isStarted, true))
                command.listener->OnStarted(run);
    }

    /// The command ends by itself, or cannot be started as it turns out.
    void Finish(int run, const master::RunEnd &end)
    {
        const Running command = m_running.at(run);
        m_running.erase(run);
        if (end.isStarted && !command.isStarted)
            command.listener->OnStarted(run);
        command.listener->OnEnded(run, end);
    }

private:
    struct Running
    {
        master::RunListener *listener = nullptr;
        bool isStarted = false;
    };

    std::map<int, Running> m_running;
};
