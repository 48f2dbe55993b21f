#include "master/run/TaskLogs.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string_view>

#include "corvan/Utf8.h"
#include "ostrel/CallEntry.h"

namespace master
{

using ostrel::_CallEntry;

namespace
{

// Half a line at the start tells nothing; half a megabyte without a line end is kept.
std::string_view WithoutHalfLine(std::string_view tail)
{
    const std::size_t lineEnd = tail.find('\n');
    return lineEnd < tail.size() / 2 ? tail.substr(lineEnd + 1) : tail;
}

namespace fs = std::filesystem;

bool RemoveOne(const fs::path &path, int &most, std::error_code &error)
{
    if (most <= 0)
        return false;
    --most;
    fs::remove(path, error);
    return !error;
}

// False, perhaps with an error, where something is left.
bool RemoveFolder(const fs::path &folder, int &most, std::error_code &error)
{
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error))
    {
        const bool isFolder = fs::is_directory(entry->symlink_status(error));
        if (error ||
            !(isFolder ? RemoveFolder(*entry, most, error) : RemoveOne(*entry, most, error)))
            return false;
    }
    return !error && RemoveOne(folder, most, error);
}

} // namespace

Path TaskLogs::FolderOf(const UID &job) const
{
    _CallEntry call("TaskLogs::FolderOf", __FILE__, __LINE__);

    return m_folder / job.ToString();
}

Path TaskLogs::FileOf(const UID &job, std::int64_t log, unsigned attempt) const
{
    _CallEntry call("TaskLogs::FileOf", __FILE__, __LINE__);

    return FolderOf(job) / (std::to_string(log) + "." + std::to_string(attempt) + ".log");
}

Path TaskLogs::OldFileOf(const UID &job, std::int64_t log) const
{
    _CallEntry call("TaskLogs::OldFileOf", __FILE__, __LINE__);

    return FolderOf(job) / (std::to_string(log) + ".log");
}

bool TaskLogs::MakeFolder(const UID &job, String *reason) const
{
    _CallEntry call("TaskLogs::MakeFolder", __FILE__, __LINE__);

    std::error_code error;
    std::filesystem::create_directories(FolderOf(job).Text().c_str(), error);
    if (error)
        *reason = "cannot make folder " + FolderOf(job).Text() + ": " + error.message();
    return !error;
}

String TaskLogs::ReadTail(const UID &job, std::int64_t log, unsigned attempt, bool isLast) const
{
    _CallEntry call("TaskLogs::ReadTail", __FILE__, __LINE__);

    std::ifstream file(FileOf(job, log, attempt).Text(), std::ios::binary | std::ios::ate);
    if (!file && isLast)
        file.open(OldFileOf(job, log).Text(), std::ios::binary | std::ios::ate);
    if (!file)
        return {};

    const auto size = std::size_t(std::max<std::streamoff>(file.tellg(), 0));
    const std::size_t skipped = size - std::min(size, k_MaxTailBytes);
    std::string tail(size - skipped, '\0');
    file.seekg(std::streamoff(skipped));
    file.read(tail.data(), std::streamsize(tail.size()));
    tail.resize(std::size_t(file.gcount()));
    return corvan::MakeUtf8(skipped == 0 ? tail : WithoutHalfLine(tail));
}

TaskLogs::Rest TaskLogs::RemoveSome(const UID &job, int most, String *reason) const
{
    _CallEntry call("TaskLogs::RemoveSome", __FILE__, __LINE__);

    std::error_code error;
    if (RemoveFolder(FolderOf(job).Text().c_str(), most, error) ||
        error == std::errc::no_such_file_or_directory)
        return Rest::Nothing;
    if (!error)
        return Rest::Something;
    *reason = "cannot remove " + FolderOf(job).Text() + ": " + error.message();
    return Rest::Stuck;
}

} // namespace master
