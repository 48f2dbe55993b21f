#include "master/run/KeeperProcess.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/socket.h>

#include "keeper/Protocol.h"
#include "master/run/CommandEnvironment.h"
#include "master/run/Orphans.h"
#include "ostrel/CallEntry.h"
#include "ostrel/Exception.h"
#include "ostrel/Folders.h"

namespace master
{

using ostrel::_CallEntry;
using ostrel::ProcessException;
using std::chrono::steady_clock;

namespace
{

// One that hangs in a share that hangs is left to itself.
constexpr std::chrono::milliseconds k_gone_within{10'000};
constexpr int k_collect_each_ms = 1;

[[noreturn]] void Refuse(const std::string &what, int error)
{
    throw new ProcessException(what + ": " + std::strerror(error));
}

void Add(std::string &request, const char *name, std::string_view value)
{
    request.append(name).push_back('\0');
    request.append(value).push_back('\0');
}

void AddNumber(std::string &request, const char *name, std::uint64_t number)
{
    Add(request, name, std::to_string(number));
}

void AddUser(std::string &request, const CommandUser &user)
{
    AddNumber(request, keeper::k_User, user.id);
    AddNumber(request, keeper::k_UserGroup, user.group);
    for (const gid_t group : user.groups)
        AddNumber(request, keeper::k_MoreGroup, group);
}

std::string RequestFor(const Command &command, const CommandPlace &place, const UID &owner,
                       const KeeperSettings &settings)
{
    std::string request;
    for (const std::string &argument : command.arguments)
        Add(request, keeper::k_Argument, argument);
    const CommandUser *const user = settings.user ? &*settings.user : nullptr;
    for (const std::string &setting : CommandEnvironment(command.passEnvironment, user))
        Add(request, keeper::k_Environment, setting);
    Add(request, keeper::k_Environment, k_TaskOf + ("=" + owner.ToString()));
    for (const Path &output : command.outputs)
        Add(request, keeper::k_Output, output.Text());
    for (const Path &file : command.places)
        Add(request, keeper::k_Place, file.Text());
    for (const keeper::RootedPath &rooted : command.rooted)
    {
        Add(request, keeper::k_RootedName, rooted.what);
        Add(request, keeper::k_RootedPath, rooted.path);
        for (const std::string &root : rooted.roots)
            Add(request, keeper::k_RootedRoot, root);
    }
    for (const std::string &root : command.outputRoots)
        Add(request, keeper::k_RootOfOutputs, root);
    AddNumber(request, keeper::k_Keep, command.keepsOld ? 1 : 0);
    // Another user cannot enter what is the Master's.
    Add(request, keeper::k_Folder, user ? user->home : command.folder.Text());
    if (user)
        AddUser(request, *user);
    Add(request, keeper::k_Group, place.group.Text());
    Add(request, keeper::k_Log, command.log.Text());
    AddNumber(request, keeper::k_Seconds, command.limits.seconds);
    AddNumber(request, keeper::k_Memory, std::uint64_t(command.limits.memoryMb) << 20);
    AddNumber(request, keeper::k_Processes, command.limits.processes);
    AddNumber(request, keeper::k_Processors, place.processors);
    AddNumber(request, keeper::k_FirstProcessor, place.firstProcessor);
    AddNumber(request, keeper::k_LogBytes, std::uint64_t(command.limits.logMb) << 20);
    AddNumber(request, keeper::k_Nice, command.limits.nice);
    AddNumber(request, keeper::k_Files, settings.files);
    AddNumber(request, keeper::k_Patience, std::uint64_t(settings.patience.count()));
    return request;
}

// A file without a name that holds a text, to be read from its beginning.
int OpenText(const std::string &text)
{
    const int file = ::memfd_create("request", MFD_CLOEXEC);
    if (file < 0)
        Refuse("cannot open a file", errno);
    for (std::size_t done = 0; done < text.size();)
    {
        const ssize_t count = ::write(file, text.data() + done, text.size() - done);
        if (count <= 0)
        {
            const int error = errno;
            ::close(file);
            Refuse("cannot write a file", error);
        }
        done += std::size_t(count);
    }
    ::lseek(file, 0, SEEK_SET);
    return file;
}

// What is freed by a function of its own.
struct SpawnSettings
{
    posix_spawn_file_actions_t files;
    posix_spawnattr_t attributes;

    SpawnSettings(int request, int socket)
    {
        sigset_t all;
        sigset_t none;
        ::sigfillset(&all);
        ::sigemptyset(&none);
        ::posix_spawn_file_actions_init(&files);
        ::posix_spawn_file_actions_adddup2(&files, request, STDIN_FILENO);
        ::posix_spawn_file_actions_adddup2(&files, socket, STDOUT_FILENO);
        ::posix_spawnattr_init(&attributes);
        ::posix_spawnattr_setsigdefault(&attributes, &all);
        ::posix_spawnattr_setsigmask(&attributes, &none);
        // What is typed at the Master's terminal is not for it.
        ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK |
                                                    POSIX_SPAWN_SETSID);
    }
    ~SpawnSettings()
    {
        ::posix_spawn_file_actions_destroy(&files);
        ::posix_spawnattr_destroy(&attributes);
    }
    SpawnSettings(const SpawnSettings &) = delete;
    SpawnSettings &operator=(const SpawnSettings &) = delete;
};

pid_t Spawn(const std::string &program, const std::string &mark, const SpawnSettings &settings)
{
    std::string name = k_KeeperName;
    std::string setting = mark;
    char *const arguments[] = {name.data(), nullptr};
    char *const environment[] = {setting.data(), nullptr};
    pid_t process = -1;
    const int error = ::posix_spawn(&process, program.c_str(), &settings.files,
                                    &settings.attributes, arguments, environment);
    if (error != 0)
        Refuse("cannot start " + program, error);
    return process;
}

} // namespace

std::string KeeperRequest(const Command &command, const UID &owner, const KeeperSettings &settings)
{
    return RequestFor(command, CommandPlace(), owner, settings);
}

KeeperProcess::KeeperProcess(const Command &command, const CommandPlace &place, const UID &owner,
                             const KeeperSettings &settings)
    : KeeperProcess(command, place, owner, settings, MakeSockets())
{
    _CallEntry call("KeeperProcess::KeeperProcess", __FILE__, __LINE__);
}

KeeperProcess::KeeperProcess(const Command &command, const CommandPlace &place, const UID &owner,
                             const KeeperSettings &settings, const Sockets &sockets)
    : m_socket(sockets[0])
{
    _CallEntry call("KeeperProcess::KeeperProcess", __FILE__, __LINE__);

    const Descriptor itsSocket(sockets[1]);
    const Descriptor request(OpenText(RequestFor(command, place, owner, settings)));
    const SpawnSettings spawning(request.Number(), itsSocket.Number());
    const Path program = ostrel::ProgramFolder().Parent() / "libexec/ordwick" / k_KeeperName;
    const std::string mark = k_KeeperOf + ("=" + owner.ToString());
    m_process = StartChild([&] { return Spawn(program.Text(), mark, spawning); });
}

KeeperProcess::Sockets KeeperProcess::MakeSockets()
{
    _CallEntry call("KeeperProcess::MakeSockets", __FILE__, __LINE__);

    Sockets sockets{};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets.data()) != 0)
        Refuse("cannot make a socket", errno);
    return sockets;
}

KeeperProcess::~KeeperProcess()
{
    _CallEntry call("KeeperProcess::~KeeperProcess", __FILE__, __LINE__);

    if (m_process < 0)
        return;
    ::send(m_socket.Number(), &keeper::k_Kill, 1, MSG_NOSIGNAL);
    ::shutdown(m_socket.Number(), SHUT_WR);
    const auto limit = steady_clock::now() + k_gone_within;
    if (!WaitForSocket())
        return;
    while (!TryCollect() && steady_clock::now() < limit)
        ::poll(nullptr, 0, k_collect_each_ms);
}

// Until it is closed; false where that takes too long.
bool KeeperProcess::WaitForSocket() const
{
    _CallEntry call("KeeperProcess::WaitForSocket", __FILE__, __LINE__);

    pollfd news{m_socket.Number(), POLLIN, 0};
    char report[4096];
    while (::poll(&news, 1, int(k_gone_within.count())) > 0)
        if (::read(m_socket.Number(), report, sizeof report) <= 0)
            return true;
    return false;
}

int KeeperProcess::DuplicateSocket() const
{
    _CallEntry call("KeeperProcess::DuplicateSocket", __FILE__, __LINE__);

    const int socket = ::fcntl(m_socket.Number(), F_DUPFD_CLOEXEC, 0);
    if (socket < 0)
        Refuse("cannot watch a process", errno);
    return socket;
}

void KeeperProcess::End() const
{
    _CallEntry call("KeeperProcess::End", __FILE__, __LINE__);

    ::send(m_socket.Number(), &keeper::k_End, 1, MSG_NOSIGNAL | MSG_DONTWAIT);
}

std::optional<std::string> KeeperProcess::TryCollect()
{
    _CallEntry call("KeeperProcess::TryCollect", __FILE__, __LINE__);

    const std::optional<std::string> how = TryCollectChild(m_process);
    if (!how)
        return std::nullopt;
    m_process = -1;
    return how->empty() ? *how : "corvan-task " + *how;
}

} // namespace master
