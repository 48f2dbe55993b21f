#pragma once

#include <boost/asio/io_context.hpp>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>

#include "master/run/RunTool.h"
#include "master/run/WorkThread.h"

namespace master
{

/// Runs programs for somebody who does not wait for them. Loop thread.
class ToolRunner
{
public:
    using Done = std::function<void(const ToolEnd &)>;

    virtual ~ToolRunner() = default;

    /// Runs a program, for so long at most, and calls `done` once it is over; never from within
    /// this call, and no more once this object is gone.
    virtual void Run(Tool tool, std::chrono::milliseconds limit, Done done) = 0;
};

/// One after the other, on a thread of its own. What runs at its end is killed.
class ToolThread : public ToolRunner
{
public:
    explicit ToolThread(boost::asio::io_context &loop);
    ~ToolThread() override;

    void Run(Tool tool, std::chrono::milliseconds limit, Done done) override;

private:
    boost::asio::io_context &m_loop;
    std::stop_source m_stop;
    std::shared_ptr<bool> m_isThere;    // Shared with what is posted.
    std::optional<WorkThread> m_thread; // From the first on; the last here, so that it ends first.
};

} // namespace master
