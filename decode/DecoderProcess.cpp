#include "decode/DecoderProcess.h"

#include <array>
#include <cassert>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "ostrel/Exception.h"

namespace decode
{

using ostrel::Descriptor;
using ostrel::ProcessException;

namespace
{

[[noreturn]] void Refuse(const Path &program, int error)
{
    throw new ProcessException("cannot start " + program.Text() + ": " + std::strerror(error));
}

// What the child is given: its end of the channel as standard input, and no other open file.
class SpawnActions
{
public:
    explicit SpawnActions(int channel)
    {
        posix_spawn_file_actions_init(&m_actions);
        posix_spawn_file_actions_adddup2(&m_actions, channel, STDIN_FILENO);
        posix_spawn_file_actions_addopen(&m_actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_addclosefrom_np(&m_actions, STDERR_FILENO + 1);
    }
    ~SpawnActions()
    {
        posix_spawn_file_actions_destroy(&m_actions);
    }
    SpawnActions(const SpawnActions &) = delete;
    SpawnActions &operator=(const SpawnActions &) = delete;

    const posix_spawn_file_actions_t *Get() const
    {
        return &m_actions;
    }

private:
    posix_spawn_file_actions_t m_actions;
};

// Signals as at the start of any program, whatever this one blocks or ignores.
class SpawnSignals
{
public:
    SpawnSignals()
    {
        sigset_t all;
        sigset_t none;
        sigfillset(&all);
        sigemptyset(&none);
        posix_spawnattr_init(&m_attributes);
        posix_spawnattr_setsigdefault(&m_attributes, &all);
        posix_spawnattr_setsigmask(&m_attributes, &none);
        posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    }
    ~SpawnSignals()
    {
        posix_spawnattr_destroy(&m_attributes);
    }
    SpawnSignals(const SpawnSignals &) = delete;
    SpawnSignals &operator=(const SpawnSignals &) = delete;

    const posix_spawnattr_t *Get() const
    {
        return &m_attributes;
    }

private:
    posix_spawnattr_t m_attributes;
};

pid_t Spawn(const Path &program, unsigned memoryMib, int channel)
{
    std::string name = program.Text();
    std::string memory = std::to_string(memoryMib);
    char *const arguments[] = {name.data(), memory.data(), nullptr};
    pid_t process = -1;
    const int error = posix_spawn(&process, name.c_str(), SpawnActions(channel).Get(),
                                  SpawnSignals().Get(), arguments, environ);
    if (error != 0)
        Refuse(program, error);
    return process;
}

struct ChannelEnds
{
    explicit ChannelEnds(const Path &program)
    {
        if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, numbers) != 0)
            Refuse(program, errno);
    }
    int numbers[2] = {-1, -1};
};

} // namespace

DecoderProcess::DecoderProcess(const Path &program, unsigned memoryMib)
    : DecoderProcess(program, memoryMib, ChannelEnds(program).numbers)
{
}

DecoderProcess::DecoderProcess(const Path &program, unsigned memoryMib, const int (&ends)[2])
    : m_channel(ends[0])
{
    const Descriptor theirs(ends[1]);
    m_process = Spawn(program, memoryMib, theirs.Number());
}

DecoderProcess::~DecoderProcess()
{
    if (m_process >= 0)
        End();
}

bool DecoderProcess::Ask(const std::string &request)
{
    assert(!request.empty() && "an empty message would look like the end of the channel");
    return send(Channel(), request.data(), request.size(), MSG_NOSIGNAL) == ssize_t(request.size());
}

String DecoderProcess::Receive()
{
    std::array<char, 1 << 16> buffer;
    ssize_t size = 0;
    do
        size = recv(Channel(), buffer.data(), buffer.size(), MSG_TRUNC);
    while (size < 0 && errno == EINTR);
    if (size <= 0 || std::size_t(size) > buffer.size())
        return {};
    return {buffer.data(), std::size_t(size)};
}

int DecoderProcess::End()
{
    // One that is already on its way out keeps its own reason.
    kill(m_process, SIGKILL);
    int status = 0;
    while (waitpid(m_process, &status, 0) < 0 && errno == EINTR)
        ;
    m_process = -1;
    return status;
}

void DecoderProcess::Kill()
{
    if (m_process >= 0)
        kill(m_process, SIGKILL);
}

int DecoderProcess::OpenEnd() const
{
    return int(::syscall(SYS_pidfd_open, m_process, 0));
}

void DecoderProcess::EndWithin(std::chrono::milliseconds time)
{
    if (m_process < 0)
        return;
    Kill();
    const Descriptor end(OpenEnd());
    pollfd ended{end.Number(), POLLIN, 0};
    if (!end.IsOpen() || poll(&ended, 1, int(time.count())) > 0)
        End();
    m_process = -1;
}

} // namespace decode
