#include "wxcorvan/StartProgram.h"

#include <cstring>
#include <fcntl.h>
#include <glib.h>
#include <spawn.h>
#include <unistd.h>

#include "ostrel/Exception.h"
#include "ostrel/Log.h"

namespace wxcorvan
{

using namespace ostrel;

namespace
{

/// What the child does with its descriptors before it becomes the program.
class FileActions
{
public:
    FileActions()
    {
        posix_spawn_file_actions_init(&m_actions);
        posix_spawn_file_actions_addopen(&m_actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_addclosefrom_np(&m_actions, STDERR_FILENO + 1);
    }
    ~FileActions()
    {
        posix_spawn_file_actions_destroy(&m_actions);
    }
    FileActions(const FileActions &) = delete;
    FileActions &operator=(const FileActions &) = delete;

    const posix_spawn_file_actions_t *Get() const
    {
        return &m_actions;
    }

private:
    posix_spawn_file_actions_t m_actions;
};

class SpawnAttributes
{
public:
    SpawnAttributes()
    {
        posix_spawnattr_init(&m_attributes);
        posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETSID);
    }
    ~SpawnAttributes()
    {
        posix_spawnattr_destroy(&m_attributes);
    }
    SpawnAttributes(const SpawnAttributes &) = delete;
    SpawnAttributes &operator=(const SpawnAttributes &) = delete;

    const posix_spawnattr_t *Get() const
    {
        return &m_attributes;
    }

private:
    posix_spawnattr_t m_attributes;
};

void OnProgramEnded(GPid process, int status, void * /*unused*/)
{
    if (!g_spawn_check_wait_status(status, nullptr))
        LogWarning("a job command's program (process " + std::to_string(process) + ") failed");
    g_spawn_close_pid(process);
}

} // namespace

void StartProgram(const std::vector<String> &arguments)
{
    if (arguments.empty() || arguments.front().empty())
        throw new ProcessException("the command names no program");

    std::vector<char *> list;
    for (const String &argument : arguments)
        list.push_back(const_cast<char *>(argument.c_str()));
    list.push_back(nullptr);

    const FileActions actions;
    const SpawnAttributes attributes;
    pid_t process = 0;
    const int error =
        posix_spawnp(&process, list.front(), actions.Get(), attributes.Get(), list.data(), environ);
    if (error != 0)
        throw new ProcessException(arguments.front() + ": " + std::strerror(error));
    g_child_watch_add(process, OnProgramEnded, nullptr);
}

} // namespace wxcorvan
