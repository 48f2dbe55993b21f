#include "master/run/Leftovers.h"

#include <charconv>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <list>
#include <optional>
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "ostrel/Descriptor.h"

namespace master
{

namespace fs = std::filesystem;
using ostrel::Descriptor;
using std::chrono::steady_clock;

namespace
{

constexpr std::chrono::seconds k_wait{2};

std::optional<pid_t> ProcessOf(const fs::path &folder)
{
    const std::string name = folder.filename().string();
    pid_t process = 0;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), process);
    if (error != std::errc() || end != name.data() + name.size())
        return std::nullopt;
    return process;
}

// Of another user's process nothing can be read.
bool WasStartedWith(const fs::path &folder, const std::string &setting)
{
    std::ifstream file(folder / "environ", std::ios::binary);
    std::string one;
    while (std::getline(file, one, '\0'))
        if (one == setting)
            return true;
    return false;
}

std::string NameOf(const fs::path &folder)
{
    std::ifstream file(folder / "comm", std::ios::binary);
    std::string name;
    std::getline(file, name);
    return name;
}

void WaitUntilGone(const Descriptor &process, steady_clock::time_point limit)
{
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(limit - steady_clock::now());
    pollfd wait{.fd = process.Number(), .events = POLLIN, .revents = 0};
    if (left.count() > 0)
        ::poll(&wait, 1, int(left.count()));
}

// Each that was started with the setting is held. Of all names where none is given.
std::list<Descriptor> FindProcessesWith(const std::string &setting, const std::string &name = {})
{
    std::list<Descriptor> found;
    std::error_code error;
    for (fs::directory_iterator entry("/proc", error), end; !error && entry != end;
         entry.increment(error))
    {
        const std::optional<pid_t> process = ProcessOf(entry->path());
        if (!process || *process == ::getpid())
            continue;
        if (!name.empty() && NameOf(entry->path()) != name)
            continue;
        // Held before it is looked at, so that it cannot become another meanwhile.
        const auto number = int(::syscall(SYS_pidfd_open, *process, 0));
        if (number < 0)
            continue;
        found.emplace_back(number);
        if (!WasStartedWith(entry->path(), setting))
            found.pop_back();
    }
    return found;
}

} // namespace

int KillProcessesWith(const std::string &setting)
{
    const std::list<Descriptor> killed = FindProcessesWith(setting);
    for (const Descriptor &process : killed)
        ::syscall(SYS_pidfd_send_signal, process.Number(), SIGKILL, nullptr, 0);
    const auto limit = steady_clock::now() + k_wait;
    for (const Descriptor &process : killed)
        WaitUntilGone(process, limit);
    return int(killed.size());
}

int CountProcessesWith(const std::string &setting, const std::string &name)
{
    return int(FindProcessesWith(setting, name).size());
}

} // namespace master
