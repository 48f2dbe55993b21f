#include "keeper/Request.h"

#include <cerrno>
#include <charconv>
#include <cstring>
#include <unistd.h>

#include "keeper/Protocol.h"

namespace keeper
{

namespace
{

bool ReadAll(int file, std::string &text)
{
    char part[65536];
    for (;;)
    {
        const ssize_t count = ::read(file, part, sizeof part);
        if (count == 0)
            return true;
        if (count < 0 && errno != EINTR)
            return false;
        if (count > 0)
            text.append(part, std::size_t(count));
    }
}

std::vector<std::string> *FindList(Request &request, const std::string &name)
{
    if (name == k_Argument)
        return &request.arguments;
    if (name == k_Environment)
        return &request.environment;
    if (name == k_Output)
        return &request.outputs;
    if (name == k_RootOfOutputs)
        return &request.outputRoots;
    if (name == k_MoreGroup)
        return &request.groups;
    return name == k_Place ? &request.places : nullptr;
}

std::string *FindText(Request &request, const std::string &name)
{
    if (name == k_Folder)
        return &request.folder;
    if (name == k_Group)
        return &request.group;
    return name == k_Log ? &request.log : nullptr;
}

long long *FindNumber(Request &request, const std::string &name)
{
    if (name == k_Keep)
        return &request.keepsOld;
    if (name == k_User)
        return &request.userId;
    if (name == k_UserGroup)
        return &request.groupId;
    if (name == k_Seconds)
        return &request.seconds;
    if (name == k_Memory)
        return &request.memoryBytes;
    if (name == k_Processes)
        return &request.processes;
    if (name == k_Processors)
        return &request.processors;
    if (name == k_FirstProcessor)
        return &request.firstProcessor;
    if (name == k_LogBytes)
        return &request.logBytes;
    if (name == k_Nice)
        return &request.nice;
    if (name == k_Files)
        return &request.files;
    return name == k_Patience ? &request.patienceMs : nullptr;
}

// The parts of a path that has roots, one after the other.
bool TakeRooted(Request &request, const std::string &name, const std::string &value)
{
    if (name == k_RootedName)
        request.rooted.push_back({value, {}, {}});
    else if (request.rooted.empty())
        return false;
    else if (name == k_RootedPath)
        request.rooted.back().path = value;
    else if (name == k_RootedRoot)
        request.rooted.back().roots.push_back(value);
    else
        return false;
    return true;
}

bool Take(Request &request, const std::string &name, std::string value)
{
    if (auto *list = FindList(request, name))
    {
        list->push_back(std::move(value));
        return true;
    }
    if (auto *text = FindText(request, name))
    {
        *text = std::move(value);
        return true;
    }
    if (TakeRooted(request, name, value))
        return true;
    auto *number = FindNumber(request, name);
    if (!number)
        return false;
    const char *const end = value.data() + value.size();
    const auto [stopped, error] = std::from_chars(value.data(), end, *number);
    return error == std::errc() && stopped == end && *number >= 0;
}

} // namespace

bool ReadRequest(int file, Request &request, std::string *reason)
{
    std::string text;
    if (!ReadAll(file, text))
    {
        *reason = std::string("cannot read what is to be run: ") + std::strerror(errno);
        return false;
    }

    for (std::size_t begin = 0; begin < text.size();)
    {
        const std::size_t nameEnd = text.find('\0', begin);
        const std::size_t valueEnd =
            nameEnd == std::string::npos ? nameEnd : text.find('\0', nameEnd + 1);
        const std::string name = text.substr(begin, nameEnd - begin);
        if (valueEnd == std::string::npos ||
            !Take(request, name, text.substr(nameEnd + 1, valueEnd - nameEnd - 1)))
        {
            *reason = "corvan-task does not understand \"" + name +
                      "\"; it is not of the Master's version";
            return false;
        }
        begin = valueEnd + 1;
    }
    if (request.arguments.empty())
        *reason = "the request names no program";
    return !request.arguments.empty();
}

} // namespace keeper
