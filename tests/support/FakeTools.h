#pragma once

#include <utility>
#include <vector>

#include "master/run/ToolThread.h"

/// Runs no program: it keeps what it was asked, and ends the last one when the test says so.
class FakeTools : public master::ToolRunner
{
public:
    std::vector<master::Tool> asked;
    std::vector<std::chrono::milliseconds> limits;

    void Run(master::Tool tool, std::chrono::milliseconds limit, Done done) override
    {
        limits.push_back(limit);
        asked.push_back(std::move(tool));
        m_done = std::move(done);
    }
    bool IsRunning() const
    {
        return bool(m_done);
    }
    void End(const master::ToolEnd &end = {})
    {
        std::exchange(m_done, nullptr)(end);
    }

private:
    Done m_done;
};
