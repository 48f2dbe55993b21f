#include "master/run/LocalRunner.h"

#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <cassert>
#include <csignal>
#include <unistd.h>

#include "master/run/Leftovers.h"
#include "ostrel/Attempt.h"
#include "ostrel/CallEntry.h"
#include "ostrel/Log.h"

namespace master
{

using boost::system::error_code;
using ostrel::_CallEntry;

struct LocalRunner::Process
{
    Process(boost::asio::io_context &loop, const Command &command, const ProcessMark &mark,
            RunListener &tellsWhom)
        : group(command, mark), exitEvent(loop), kill(loop), listener(tellsWhom)
    {
        const int event = group.OpenExitEvent();
        error_code error;
        if (exitEvent.assign(event, error))
        {
            ::close(event);
            throw new ostrel::ProcessException("cannot watch a process: " + error.message());
        }
    }

    ProcessGroup group;
    boost::asio::posix::stream_descriptor exitEvent;
    boost::asio::steady_timer kill;
    RunListener &listener;
};

LocalRunner::LocalRunner(boost::asio::io_context &loop, int slots,
                         std::chrono::milliseconds patience, const String &owner)
    : m_loop(loop), m_slots(slots), m_patience(patience), m_mark{"CORVAN_TASK_OF", owner}
{
    _CallEntry call("LocalRunner::LocalRunner", __FILE__, __LINE__);
}

LocalRunner::~LocalRunner() = default;

void LocalRunner::EndLeftovers()
{
    _CallEntry call("LocalRunner::EndLeftovers", __FILE__, __LINE__);

    const int count = KillProcessesWith(m_mark.name + "=" + m_mark.value);
    if (count > 0)
        ostrel::LogWarning("killed " + std::to_string(count) +
                           " processes that an earlier run left behind");
}

int LocalRunner::FreeSlots() const
{
    _CallEntry call("LocalRunner::FreeSlots", __FILE__, __LINE__);

    return m_slots - int(m_processes.size());
}

bool LocalRunner::Start(const Command &command, RunListener &listener, String *error)
{
    _CallEntry call("LocalRunner::Start", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    const auto reason = ostrel::Attempt(
        [&]
        {
            m_processes[command.run] =
                std::make_unique<Process>(m_loop, command, m_mark, listener);
            WaitFor(command.run);
            boost::asio::post(m_loop,
                              [this, run = command.run]
                              {
                                  if (const auto found = m_processes.find(run);
                                      found != m_processes.end())
                                      found->second->listener.OnStarted(run);
                              });
        });
    if (!reason)
        return true;
    // Its slot is free again; what was started is killed.
    m_processes.erase(command.run);
    *error = *reason;
    return false;
}

void LocalRunner::WaitFor(int run)
{
    _CallEntry call("LocalRunner::WaitFor", __FILE__, __LINE__);

    m_processes.at(run)->exitEvent.async_wait(boost::asio::posix::stream_descriptor::wait_read,
                                              [this, run](const error_code &error)
                                              {
                                                  if (!error)
                                                      OnEnded(run);
                                              });
}

void LocalRunner::OnEnded(int run)
{
    _CallEntry call("LocalRunner::OnEnded", __FILE__, __LINE__);

    const auto found = m_processes.find(run);
    const std::unique_ptr<Process> process = std::move(found->second);
    m_processes.erase(found);
    const int exitCode = process->group.Collect();
    process->listener.OnEnded(run, {.exitCode = exitCode});
}

void LocalRunner::End(int run)
{
    _CallEntry call("LocalRunner::End", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    const auto found = m_processes.find(run);
    if (found == m_processes.end())
        return;

    Process &process = *found->second;
    process.group.Signal(SIGTERM);
    process.kill.expires_after(m_patience);
    process.kill.async_wait(
        [this, run](const error_code &error)
        {
            const auto late = m_processes.find(run);
            if (!error && late != m_processes.end())
                late->second->group.Signal(SIGKILL);
        });
}

} // namespace master
