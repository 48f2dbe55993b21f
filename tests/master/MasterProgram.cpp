#include "tests/master/MasterProgram.h"

#include <algorithm>
#include <boost/process/args.hpp>
#include <boost/process/env.hpp>
#include <boost/process/environment.hpp>
#include <boost/process/exe.hpp>
#include <boost/process/io.hpp>
#include <csignal>
#include <filesystem>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "ostrel/Descriptor.h"
#include "tests/support/TempFolder.h"

namespace process = boost::process;
using ostrel::Path;

namespace
{

constexpr int k_wait_ms = 30'000;

process::environment EnvironmentIn(const Path &folder)
{
    process::environment environment = boost::this_process::environment();
    for (const char *name :
         {"XDG_CONFIG_HOME", "XDG_STATE_HOME", "XDG_DATA_HOME", "XDG_RUNTIME_DIR"})
        environment[name] = (folder / "user").Text();
    environment.erase("CORVAN_DATA");
    environment.erase("CORVAN_MASTER");
    return environment;
}

std::vector<std::string> All(const Path &folder, const std::vector<std::string> &further)
{
    std::vector<std::string> arguments = {"--log-file", (folder / "log").Text()};
    if (std::find(further.begin(), further.end(), "--data") == further.end())
        arguments.insert(arguments.end(), {"--data", (folder / "data").Text()});
    arguments.insert(arguments.end(), further.begin(), further.end());
    return arguments;
}

// Empty: the library writes over an old file and leaves the rest of it.
std::string ErrorsIn(const Path &folder)
{
    const Path file = folder / "errors";
    std::filesystem::remove(file.Text().c_str());
    return file.Text();
}

} // namespace

MasterProgram::MasterProgram(const Path &folder, const std::vector<std::string> &arguments)
    : m_folder(folder),
      m_child(process::exe = CORVAN_MASTER_PROGRAM, process::args = All(folder, arguments),
              EnvironmentIn(folder), process::std_in<process::null, process::std_out> m_output,
              process::std_err > ErrorsIn(folder))
{
}

MasterProgram::~MasterProgram()
{
    if (m_child.joinable())
    {
        Signal(SIGKILL);
        WaitForEnd();
    }
}

std::string MasterProgram::ReadLine()
{
    std::string line;
    std::getline(m_output, line);
    return line;
}

void MasterProgram::Signal(int signal)
{
    ::kill(m_child.id(), signal);
}

int MasterProgram::WaitForEnd()
{
    const ostrel::Descriptor process(int(::syscall(SYS_pidfd_open, m_child.id(), 0)));
    pollfd wait{.fd = process.Number(), .events = POLLIN, .revents = 0};
    if (::poll(&wait, 1, k_wait_ms) != 1)
        Signal(SIGKILL);
    int status = 0;
    ::waitpid(m_child.id(), &status, 0);
    m_child.detach();
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string MasterProgram::Errors()
{
    return ContentOf(m_folder / "errors");
}

std::string MasterProgram::Address() const
{
    return "unix:" + (m_folder / "m.sock").Text();
}
