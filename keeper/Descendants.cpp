#include "keeper/Descendants.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <string>
#include <sys/syscall.h>
#include <unistd.h>

namespace keeper
{

namespace
{

std::string ReadFile(const std::string &name)
{
    std::string text;
    const int file = ::open(name.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0)
        return text;
    char part[4096];
    for (ssize_t count = 0; (count = ::read(file, part, sizeof part)) > 0;)
        text.append(part, std::size_t(count));
    ::close(file);
    return text;
}

// Each thread knows the children that it has started.
void AddChildren(pid_t parent, std::vector<Descendant> &list)
{
    const std::string folder = "/proc/" + std::to_string(parent) + "/task/";
    DIR *const threads = ::opendir(folder.c_str());
    if (!threads)
        return;
    while (const dirent *const thread = ::readdir(threads))
    {
        if (thread->d_name[0] == '.')
            continue;
        const std::string children = ReadFile(folder + thread->d_name + "/children");
        for (const char *text = children.c_str(); *text != '\0';)
        {
            char *end = nullptr;
            const long child = std::strtol(text, &end, 10);
            if (end == text || child <= 0)
                break;
            list.push_back({pid_t(child), parent});
            text = end;
        }
    }
    ::closedir(threads);
}

// The fourth word of "stat", behind a name that may hold anything.
pid_t ParentOf(pid_t process)
{
    const std::string text = ReadFile("/proc/" + std::to_string(process) + "/stat");
    const std::size_t name = text.rfind(") ");
    int parent = 0;
    if (name == std::string::npos || std::sscanf(text.c_str() + name + 2, "%*c %d", &parent) != 1)
        return 0;
    return parent;
}

} // namespace

bool CanListChildren()
{
    return ::access("/proc/thread-self/children", R_OK) == 0;
}

std::vector<Descendant> ListDescendants(const std::set<pid_t> &passedOver)
{
    std::vector<Descendant> list;
    AddChildren(::getpid(), list);
    std::erase_if(list, [&](const Descendant &one) { return passedOver.contains(one.process); });
    for (std::size_t next = 0; next < list.size(); ++next)
        AddChildren(list[next].process, list);
    return list;
}

void SendSignal(const Descendant &descendant, int signal)
{
    // Held before it is looked at, so that it cannot become another meanwhile. One whose parent has
    // ended is this process's own child by now.
    const auto held = int(::syscall(SYS_pidfd_open, descendant.process, 0));
    if (held < 0)
        return;
    const pid_t parent = ParentOf(descendant.process);
    if (parent == descendant.parent || parent == ::getpid())
        ::syscall(SYS_pidfd_send_signal, held, signal, nullptr, 0);
    ::close(held);
}

long long MemoryOf(const std::vector<Descendant> &descendants)
{
    const long long page = ::sysconf(_SC_PAGESIZE);
    long long bytes = 0;
    for (const Descendant &one : descendants)
    {
        long long resident = 0, shared = 0;
        const std::string text = ReadFile("/proc/" + std::to_string(one.process) + "/statm");
        if (std::sscanf(text.c_str(), "%*d %lld %lld", &resident, &shared) == 2)
            bytes += (resident - shared) * page;
    }
    return bytes;
}

} // namespace keeper
