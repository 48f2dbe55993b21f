#include "keeper/StartCommand.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace keeper
{

namespace
{

// What the child tells of its failure.
struct Failure
{
    enum Step
    {
        NoFiles,
        NoFolder,
        NoProgram,
    };
    Step step = NoFiles;
    int error = 0;
};

std::vector<char *> PointersTo(const std::vector<std::string> &texts)
{
    std::vector<char *> pointers;
    for (const std::string &text : texts)
        pointers.push_back(const_cast<char *>(text.c_str()));
    pointers.push_back(nullptr);
    return pointers;
}

void ResetSignals()
{
    for (int signal = 1; signal < NSIG; ++signal)
        ::signal(signal, SIG_DFL);
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

// Where it is not to be had the command runs without, and its log tells.
void Join(const Group &group)
{
    if (!group.Join())
        ::dprintf(STDERR_FILENO, "corvan-task: cannot use control group %s: %s\n",
                  group.Folder().c_str(), std::strerror(errno));
}

// It may leave them again; what asks how many processors there are is told these.
void UseProcessors(std::size_t first, std::size_t count)
{
    cpu_set_t all;
    // Fails on a machine of more than 1,024.
    if (::sched_getaffinity(0, sizeof all, &all) != 0)
        return;
    std::vector<int> numbers;
    for (int number = 0; number < CPU_SETSIZE; ++number)
        if (CPU_ISSET(number, &all))
            numbers.push_back(number);
    if (count >= numbers.size())
        return;
    cpu_set_t some;
    CPU_ZERO(&some);
    for (std::size_t i = 0; i < count; ++i)
        CPU_SET(numbers[(first + i) % numbers.size()], &some);
    ::sched_setaffinity(0, sizeof some, &some);
}

// The Master takes all the descriptors that it may have. A command that meets so many may close
// each number there is before it begins, or have no place for a large number in what it waits with.
void LowerDescriptorLimit(rlim_t files)
{
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur <= files)
        return;
    limit.rlim_cur = files;
    ::setrlimit(RLIMIT_NOFILE, &limit);
}

// The child's part. Gives why it could not become the command.
Failure Become(const Request &request, const Group &group, const std::vector<char *> &arguments,
               const std::vector<char *> &environment, int output)
{
    ::setsid();
    // What is to hold it may itself be killed.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ResetSignals();
    const int nothing = ::open("/dev/null", O_RDONLY);
    if (nothing < 0 || ::dup2(nothing, STDIN_FILENO) < 0 || ::dup2(output, STDOUT_FILENO) < 0 ||
        ::dup2(output, STDERR_FILENO) < 0)
        return {Failure::NoFiles, errno};
    if (nothing > STDERR_FILENO)
        ::close(nothing);
    Join(group);
    if (request.processors > 0)
        UseProcessors(std::size_t(request.firstProcessor), std::size_t(request.processors));
    if (request.nice > 0 && ::nice(int(request.nice)) < 0)
        errno = 0; // It runs all the same.
    if (request.files > 0)
        LowerDescriptorLimit(rlim_t(request.files));
    if (::chdir(request.folder.c_str()) != 0)
        return {Failure::NoFolder, errno};
    ::execvpe(arguments.front(), arguments.data(), environment.data());
    return {Failure::NoProgram, errno};
}

std::string ReasonOf(const Failure &failure, const Request &request)
{
    const std::string &program = request.arguments.front();
    const std::string why = std::strerror(failure.error);
    switch (failure.step)
    {
    case Failure::NoFiles:
        return "cannot open a file for " + program + ": " + why;
    case Failure::NoFolder:
        return "cannot use folder " + request.folder + ": " + why;
    case Failure::NoProgram:
        break;
    }
    if (failure.error == ENOENT && program.find('/') == std::string::npos)
        return "no program " + program + " in the search path";
    return "cannot start " + program + ": " + why;
}

// Where the command is looked for is its own affair: the PATH that it is given.
void TakePath(const std::vector<std::string> &environment)
{
    for (const std::string &one : environment)
        if (one.starts_with("PATH="))
            ::setenv("PATH", one.c_str() + 5, 1);
}

} // namespace

bool StartCommand(const Request &request, const Group &group, Command &command, std::string *reason)
{
    int output[2];
    int failure[2];
    if (::pipe2(output, O_CLOEXEC) != 0)
    {
        *reason = std::string("cannot make a pipe: ") + std::strerror(errno);
        return false;
    }
    if (::pipe2(failure, O_CLOEXEC) != 0)
    {
        *reason = std::string("cannot make a pipe: ") + std::strerror(errno);
        ::close(output[0]);
        ::close(output[1]);
        return false;
    }

    TakePath(request.environment);
    const std::vector<char *> arguments = PointersTo(request.arguments);
    const std::vector<char *> environment = PointersTo(request.environment);
    const pid_t child = ::fork();
    if (child == 0)
    {
        const Failure told = Become(request, group, arguments, environment, output[1]);
        const ssize_t written = ::write(failure[1], &told, sizeof told);
        ::_exit(written == sizeof told ? 126 : 127);
    }

    const int forkError = errno;
    ::close(output[1]);
    ::close(failure[1]);
    // Closed without a word by the program's start.
    Failure told;
    const bool hasFailed = child > 0 && ::read(failure[0], &told, sizeof told) == sizeof told;
    ::close(failure[0]);
    if (child > 0 && !hasFailed)
    {
        ::fcntl(output[0], F_SETFL, O_NONBLOCK);
        command = {child, output[0]};
        return true;
    }
    ::close(output[0]);
    if (hasFailed)
        ::waitpid(child, nullptr, 0);
    *reason = hasFailed ? ReasonOf(told, request)
                        : std::string("cannot start a process: ") + std::strerror(forkError);
    return false;
}

} // namespace keeper
