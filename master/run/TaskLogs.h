#pragma once

#include <cstdint>

#include "ostrel/Path.h"
#include "ostrel/UID.h"

namespace master
{

using ostrel::Path;
using ostrel::String;
using ostrel::UID;

/// Where the commands of the tasks run and where they print to: a folder for each job, in it a log
/// file for each try of each task. Logs are numbered as `JobState::logBase` says, tries from 1.
class TaskLogs
{
public:
    /// Most that `ReadTail` gives.
    static constexpr std::size_t k_MaxTailBytes = 1u << 20;

    explicit TaskLogs(Path folder) : m_folder(std::move(folder)) {}

    Path FolderOf(const UID &job) const;
    Path FileOf(const UID &job, std::int64_t log, unsigned attempt) const;

    /// False, with the reason, where it cannot be made.
    bool MakeFolder(const UID &job, String *reason) const;

    /// The last part of what a try has printed, cut at a line where that is possible; bytes that
    /// are no UTF-8 are replaced by U+FFFD. Empty where there is none yet. Earlier versions kept
    /// one file a task, of its last try; `isLast` allows for that one.
    String ReadTail(const UID &job, std::int64_t log, unsigned attempt, bool isLast) const;

    /// What is left of a removed job's folder.
    enum class Rest
    {
        Nothing,
        Something,
        Stuck, ///< It cannot be removed.
    };
    /// Removes files and folders of a job, `most` of them at a time: its folder may hold any number
    /// of them. `*reason` is for what is stuck.
    Rest RemoveSome(const UID &job, int most, String *reason) const;

private:
    Path OldFileOf(const UID &job, std::int64_t log) const;

    Path m_folder;
};

} // namespace master
