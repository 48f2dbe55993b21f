#include "bench/ServerProcess.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace bench
{

ServerProcess::ServerProcess(const std::vector<std::string> &command)
{
    std::vector<char *> arguments;
    for (const std::string &argument : command)
        arguments.push_back(const_cast<char *>(argument.c_str()));
    arguments.push_back(nullptr);

    // The table goes to standard output.
    const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    m_process = ::fork();
    if (m_process == 0)
    {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::dup2(nowhere, STDOUT_FILENO);
        ::execv(arguments[0], arguments.data());
        std::perror(arguments[0]);
        ::_exit(127);
    }
    ::close(nowhere);
}

ServerProcess::~ServerProcess()
{
    End(SIGTERM);
}

void ServerProcess::End(int signal)
{
    if (m_process < 0)
        return;
    ::kill(m_process, signal);
    ::waitpid(m_process, nullptr, 0);
    m_process = -1;
}

double ServerProcess::Megabytes() const
{
    std::ifstream status("/proc/" + std::to_string(m_process) + "/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with("VmRSS:"))
            return std::strtod(line.c_str() + 6, nullptr) / 1024;
    return 0;
}

double ServerProcess::Seconds() const
{
    std::ifstream stat("/proc/" + std::to_string(m_process) + "/stat");
    std::string line;
    if (!std::getline(stat, line))
        return 0;
    line.erase(0, line.rfind(')') + 2);
    unsigned long user = 0;
    unsigned long system = 0;
    std::sscanf(line.c_str(), "%*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %lu %lu", &user,
                &system);
    return double(user + system) / double(::sysconf(_SC_CLK_TCK));
}

} // namespace bench
