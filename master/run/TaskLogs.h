#pragma once

#include <cstdint>
#include <string_view>

#include "ostrel/Path.h"
#include "ostrel/UID.h"

namespace master
{

using ostrel::Path;
using ostrel::String;
using ostrel::UID;

/// Where the commands of the tasks run and where they print to: a folder for each job, in it a log
/// file for each task, which holds the last try. Logs are numbered as `JobState::logBase` says.
class TaskLogs
{
public:
    /// Most that `ReadTail` gives.
    static constexpr std::size_t k_MaxTailBytes = 1u << 20;

    explicit TaskLogs(Path folder) : m_folder(std::move(folder)) {}

    Path FolderOf(const UID &job) const;
    Path FileOf(const UID &job, std::int64_t log) const;

    /// False, with the reason, where it cannot be made.
    bool MakeFolder(const UID &job, String *reason) const;

    /// Replaces the log of a task by a text of the Master's own. A text that cannot be written is
    /// dropped: the reason it tells is in the Master's log as well.
    void Write(const UID &job, std::int64_t log, std::string_view text) const;

    /// The last part of a task's log, cut at a line where that is possible; bytes that are no UTF-8
    /// are replaced by U+FFFD. Empty where there is none yet.
    String ReadTail(const UID &job, std::int64_t log) const;

private:
    Path m_folder;
};

} // namespace master
