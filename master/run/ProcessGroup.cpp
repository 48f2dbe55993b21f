#include "master/run/ProcessGroup.h"

#include <boost/process/args.hpp>
#include <boost/process/child.hpp>
#include <boost/process/env.hpp>
#include <boost/process/environment.hpp>
#include <boost/process/exe.hpp>
#include <boost/process/extend.hpp>
#include <boost/process/group.hpp>
#include <boost/process/io.hpp>
#include <boost/process/search_path.hpp>
#include <boost/process/start_dir.hpp>
#include <csignal>
#include <cstring>
#include <fstream>
#include <linux/close_range.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

#include "ostrel/CallEntry.h"
#include "ostrel/Exception.h"

namespace master
{

namespace process = boost::process;
using ostrel::_CallEntry;
using ostrel::ProcessException;

namespace
{

// In the child, before the program takes over: only what is safe between fork and exec.
struct CleanStart : process::extend::handler
{
    template <typename Executor> void on_exec_setup(Executor &) const
    {
        // The gRPC library ignores it, and ignoring is inherited.
        ::signal(SIGPIPE, SIG_DFL);
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::close_range(STDERR_FILENO + 1, ~0u, CLOSE_RANGE_CLOEXEC);
    }
};

// The library writes over an old file and leaves the rest of it.
void EmptyLog(const Path &log)
{
    if (!std::ofstream(log.Text().c_str(), std::ios::trunc))
        throw new ProcessException("cannot write " + log.Text());
}

std::string FindProgram(const std::string &program)
{
    if (program.find('/') != std::string::npos)
        return program;
    const std::string found = process::search_path(program).string();
    if (found.empty())
        throw new ProcessException("no program " + program + " in the search path");
    return found;
}

} // namespace

ProcessGroup::ProcessGroup(const Command &command, const ProcessMark &mark)
{
    _CallEntry call("ProcessGroup::ProcessGroup", __FILE__, __LINE__);

    const std::string program = FindProgram(command.arguments.front());
    EmptyLog(command.log);
    try
    {
        process::environment environment = boost::this_process::environment();
        environment[mark.name] = mark.value;
        process::group group;
        process::child child(process::exe = program,
                             process::args = std::vector<std::string>(command.arguments.begin() + 1,
                                                                      command.arguments.end()),
                             process::start_dir = command.folder.Text(),
                             process::std_in<process::null, (process::std_out & process::std_err)>
                                 command.log.Text(),
                             environment, group, CleanStart{});
        m_leader = child.id();
        child.detach();
        group.detach();
    }
    catch (const std::system_error &error)
    {
        throw new ProcessException("cannot start " + program + ": " + error.code().message());
    }
}

ProcessGroup::~ProcessGroup()
{
    _CallEntry call("ProcessGroup::~ProcessGroup", __FILE__, __LINE__);

    if (m_leader < 0)
        return;
    Signal(SIGKILL);
    Collect();
}

int ProcessGroup::OpenExitEvent() const
{
    _CallEntry call("ProcessGroup::OpenExitEvent", __FILE__, __LINE__);

    const auto event = int(::syscall(SYS_pidfd_open, m_leader, 0));
    if (event < 0)
        throw new ProcessException(std::string("cannot watch a process: ") + std::strerror(errno));
    return event;
}

void ProcessGroup::Signal(int signal) const
{
    _CallEntry call("ProcessGroup::Signal", __FILE__, __LINE__);

    ::killpg(m_leader, signal);
}

int ProcessGroup::Collect()
{
    _CallEntry call("ProcessGroup::Collect", __FILE__, __LINE__);

    Signal(SIGKILL);
    int status = 0;
    while (::waitpid(m_leader, &status, 0) < 0 && errno == EINTR)
        ;
    m_leader = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace master
