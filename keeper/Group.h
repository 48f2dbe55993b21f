#pragma once

#include <string>

namespace keeper
{

/// The control group of a command, by its folder; empty where it is in none.
///
/// What it takes to use it is opened at once: later this process may be a user who may not.
class Group
{
public:
    explicit Group(std::string folder);
    ~Group();
    Group(const Group &) = delete;
    Group &operator=(const Group &) = delete;

    /// This process goes into it; true where there is none. False, with `errno`, where it cannot.
    bool Join() const;

    /// Kills all that is in it at once, also what is being started meanwhile. False where the
    /// system does not take that; then it has to be killed one by one.
    bool Kill() const;

    /// Whether the system has ended something in it since it had more memory than it may.
    bool HadTooMuchMemory() const;

    const std::string &Folder() const
    {
        return m_folder;
    }

private:
    std::string m_folder;
    int m_processes = -1;
    int m_kill = -1;
    int m_openError = 0;
};

/// Kills all that is in the group of this folder, as `Group::Kill` does.
bool KillGroup(const std::string &group);

} // namespace keeper
