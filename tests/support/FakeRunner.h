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

    void EndLeftovers() override {}

    int FreeSlots() const override
    {
        return slots - int(m_running.size());
    }

    bool Start(const master::Command &command, Finished finished, ostrel::String *error) override
    {
        *error = refuses;
        if (!throws.empty())
            throw std::runtime_error(std::exchange(throws, {}));
        if (!refuses.empty())
            return false;
        started.push_back(command);
        m_running[command.run] = std::move(finished);
        return true;
    }

    void End(int run) override
    {
        ended.push_back(run);
    }

    /// The command ends by itself.
    void Finish(int run, int exitCode)
    {
        const Finished finished = std::move(m_running.at(run));
        m_running.erase(run);
        finished(run, exitCode);
    }

private:
    std::map<int, Finished> m_running;
};
