#pragma once

#include <optional>

#include "ostrel/Path.h"

/// Puts this process into a control group of its own that is marked as handed over, as a service
/// has it, and back where it was at the end, when all else in the group is killed.
class OwnGroup
{
public:
    OwnGroup();
    ~OwnGroup();
    OwnGroup(const OwnGroup &) = delete;
    OwnGroup &operator=(const OwnGroup &) = delete;

    /// Nothing where this machine has no such groups, or none that this user may make.
    const std::optional<ostrel::Path> &Folder() const
    {
        return m_folder;
    }

private:
    std::optional<ostrel::Path> m_before;
    std::optional<ostrel::Path> m_folder;
};
