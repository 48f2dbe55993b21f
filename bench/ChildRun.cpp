#include "bench/ChildRun.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace bench
{

namespace
{

using Clock = std::chrono::steady_clock;

double MsSince(Clock::time_point start)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

double Ms(const timeval &time)
{
    return double(time.tv_sec) * 1e3 + double(time.tv_usec) / 1e3;
}

[[noreturn]] void Become(const std::vector<std::string> &command, const std::string &preload,
                         int output)
{
    dup2(output, STDOUT_FILENO);
    if (!preload.empty())
        setenv("LD_PRELOAD", preload.c_str(), 1);
    std::vector<char *> arguments;
    for (const std::string &argument : command)
        arguments.push_back(const_cast<char *>(argument.c_str()));
    arguments.push_back(nullptr);
    execv(arguments[0], arguments.data());
    std::perror(arguments[0]);
    _exit(127);
}

/// Reads to the end; when the first newline came.
double ReadAll(int input, Clock::time_point start)
{
    static char s_text[1 << 16];
    double firstLineMs = 0;
    for (ssize_t got = 0; (got = read(input, s_text, sizeof s_text)) > 0;)
        if (firstLineMs == 0 && std::memchr(s_text, '\n', std::size_t(got)))
            firstLineMs = MsSince(start);
    return firstLineMs;
}

} // namespace

ChildRun RunChild(const std::vector<std::string> &command, const std::string &preload)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        std::abort();
    std::fflush(stdout);

    const auto start = Clock::now();
    const pid_t child = vfork();
    if (child == 0)
        Become(command, preload, ends[1]);
    close(ends[1]);

    ChildRun run;
    run.firstLineMs = ReadAll(ends[0], start);
    close(ends[0]);
    int status = 0;
    rusage usage{};
    wait4(child, &status, 0, &usage);
    run.ms = MsSince(start);
    run.processorMs = Ms(usage.ru_utime) + Ms(usage.ru_stime);
    run.peakMegabytes = usage.ru_maxrss / 1024;
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return run;
}

} // namespace bench
