#include "master/run/RunWithin.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <unistd.h>

#include "ostrel/Folders.h"

namespace master
{

namespace
{

constexpr const char *k_program = "libexec/ordwick/corvan-within";

// Each is followed by its values, and those by the next word.
constexpr std::string_view k_path = "--path"; // WHAT PATH
constexpr std::string_view k_root = "--root"; // FOLDER, of the path before it
constexpr std::string_view k_run = "--";      // PROGRAM ARGUMENT...

using Arguments = std::span<const char *const>;

int Refuse(int status, const String &reason)
{
    std::fprintf(stderr, "corvan-within: %s\n", reason.c_str());
    return status;
}

// Takes one path with its roots off the front; nothing where there is none.
std::optional<RootedPath> TakePath(Arguments &arguments)
{
    if (arguments.size() < 3 || arguments[0] != k_path)
        return std::nullopt;
    RootedPath rooted{arguments[1], arguments[2], {}};
    arguments = arguments.subspan(3);
    for (; arguments.size() >= 2 && arguments[0] == k_root; arguments = arguments.subspan(2))
        rooted.roots.emplace_back(arguments[1]);
    return rooted;
}

int Become(Arguments command)
{
    std::vector<char *> list;
    for (const char *argument : command)
        list.push_back(const_cast<char *>(argument));
    list.push_back(nullptr);
    ::execvp(list.front(), list.data());
    return Refuse(k_CannotStart,
                  "cannot start " + String(list.front()) + ": " + std::strerror(errno));
}

} // namespace

std::vector<std::string> WithinCommand(std::span<const RootedPath> paths,
                                       const std::vector<std::string> &command)
{
    std::vector<std::string> all = {(ostrel::ProgramFolder().Parent() / k_program).Text()};
    for (const RootedPath &path : paths)
    {
        all.insert(all.end(), {std::string(k_path), path.what, path.path.Text()});
        for (const Path &root : path.roots)
            all.insert(all.end(), {std::string(k_root), root.Text()});
    }
    all.emplace_back(k_run);
    all.insert(all.end(), command.begin(), command.end());
    return all;
}

int RunWithin(Arguments arguments)
{
    while (const auto rooted = TakePath(arguments))
        if (const String reason = CheckRoots(*rooted); !reason.empty())
            return Refuse(k_LeadsOut, reason);
    if (arguments.size() < 2 || arguments[0] != k_run)
        return Refuse(k_CannotStart, "it is started by corvan-master alone");
    return Become(arguments.subspan(1));
}

} // namespace master
