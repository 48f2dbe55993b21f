#include "master/run/RunTool.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include "ostrel/Descriptor.h"

namespace master
{

using ostrel::Descriptor;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace
{

constexpr milliseconds k_read_each{100};

int OpenInput(const std::string &text)
{
    const int file = ::memfd_create("input", MFD_CLOEXEC);
    if (file < 0 || ::write(file, text.data(), text.size()) != ssize_t(text.size()) ||
        ::lseek(file, 0, SEEK_SET) != 0)
    {
        if (file >= 0)
            ::close(file);
        return -1;
    }
    return file;
}

struct Pipe
{
    int ends[2] = {-1, -1};

    Pipe()
    {
        if (::pipe2(ends, O_CLOEXEC) == 0)
            ::fcntl(ends[0], F_SETFL, O_NONBLOCK);
    }
    ~Pipe()
    {
        CloseWriter();
        CloseReader();
    }
    Pipe(const Pipe &) = delete;
    Pipe &operator=(const Pipe &) = delete;

    void CloseWriter()
    {
        if (ends[1] >= 0)
            ::close(ends[1]);
        ends[1] = -1;
    }
    void CloseReader()
    {
        if (ends[0] >= 0)
            ::close(ends[0]);
        ends[0] = -1;
    }

    // False once there is no more.
    bool Read(std::string &text, std::size_t mostBytes) const
    {
        char part[65536];
        const ssize_t count = ::read(ends[0], part, sizeof part);
        if (count < 0)
            return errno == EAGAIN || errno == EINTR;
        if (count > 0 && text.size() < mostBytes)
            text.append(part, std::min(std::size_t(count), mostBytes - text.size()));
        return count > 0;
    }
};

std::vector<char *> Pointers(const std::vector<std::string> &texts)
{
    std::vector<char *> pointers;
    pointers.reserve(texts.size() + 1);
    for (const std::string &text : texts)
        pointers.push_back(const_cast<char *>(text.c_str()));
    pointers.push_back(nullptr);
    return pointers;
}

// The number of the error, 0 for none.
int SpawnTool(const Tool &tool, int input, const Pipe &output, const Pipe &error, pid_t &process)
{
    posix_spawn_file_actions_t files;
    posix_spawnattr_t attributes;
    sigset_t all;
    sigset_t none;
    ::sigfillset(&all);
    ::sigemptyset(&none);
    ::posix_spawn_file_actions_init(&files);
    ::posix_spawn_file_actions_adddup2(&files, input, STDIN_FILENO);
    ::posix_spawn_file_actions_adddup2(&files, output.ends[1], STDOUT_FILENO);
    ::posix_spawn_file_actions_adddup2(&files, error.ends[1], STDERR_FILENO);
    ::posix_spawnattr_init(&attributes);
    ::posix_spawnattr_setsigdefault(&attributes, &all);
    ::posix_spawnattr_setsigmask(&attributes, &none);
    // A group of its own, which is killed as a whole.
    ::posix_spawnattr_setpgroup(&attributes, 0);
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK |
                                                POSIX_SPAWN_SETPGROUP);
    const std::vector<char *> arguments = Pointers(tool.arguments);
    const std::vector<char *> environment = Pointers(tool.environment);
    const int result = ::posix_spawnp(&process, arguments[0], &files, &attributes, arguments.data(),
                                      environment.data());
    ::posix_spawn_file_actions_destroy(&files);
    ::posix_spawnattr_destroy(&attributes);
    return result;
}

// Until both are closed; false where that takes too long, or is of no use.
bool ReadBoth(Pipe &output, Pipe &error, ToolEnd &end, const Tool &tool,
              steady_clock::time_point limit, const std::stop_token &stop)
{
    while (output.ends[0] >= 0 || error.ends[0] >= 0)
    {
        const auto rest = std::chrono::ceil<milliseconds>(limit - steady_clock::now());
        if (rest.count() <= 0 || stop.stop_requested())
            return false;
        pollfd news[] = {{output.ends[0], POLLIN, 0}, {error.ends[0], POLLIN, 0}};
        if (::poll(news, 2, int(std::min(rest, k_read_each).count())) <= 0)
            continue;
        if (news[0].revents != 0 && !output.Read(end.output, tool.mostBytes))
            output.CloseReader();
        if (news[1].revents != 0 && !error.Read(end.error, tool.mostBytes))
            error.CloseReader();
        if (!tool.givesUp.empty() && end.error.find(tool.givesUp) != std::string::npos)
            return false;
    }
    return true;
}

// One that has closed what it prints to may still go on.
void Collect(pid_t process, ToolEnd &end, steady_clock::time_point limit)
{
    int status = 0;
    for (;;)
    {
        if (!end.isCutOff && steady_clock::now() >= limit)
        {
            end.isCutOff = true;
            ::kill(-process, SIGKILL);
        }
        const pid_t collected = ::waitpid(process, &status, end.isCutOff ? 0 : WNOHANG);
        if (collected == process)
            break;
        if (collected < 0 && errno != EINTR)
            return;
        if (collected == 0)
            ::poll(nullptr, 0, 1);
    }
    end.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace

ToolEnd RunTool(const Tool &tool, milliseconds limit, const std::stop_token &stop)
{
    ToolEnd end;
    const auto cutOff = steady_clock::now() + limit;
    Pipe output;
    Pipe error;
    const Descriptor input(OpenInput(tool.input));
    pid_t process = -1;
    const int reason = input.Number() < 0 || output.ends[0] < 0 || error.ends[0] < 0
                           ? EMFILE
                           : SpawnTool(tool, input.Number(), output, error, process);
    if (reason != 0)
    {
        end.isStarted = false;
        end.status = -1;
        end.error = "cannot start " + tool.arguments.front() + ": " + std::strerror(reason);
        return end;
    }

    output.CloseWriter();
    error.CloseWriter();
    if (!ReadBoth(output, error, end, tool, cutOff, stop))
    {
        end.isCutOff = true;
        ::kill(-process, SIGKILL);
    }
    Collect(process, end, cutOff);
    return end;
}

} // namespace master
