#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "ostrel/Path.h"

namespace web
{

using ostrel::Path;
using ostrel::String;

/// Pictures that are kept on disk, in a folder of this user's own, bounded by bytes: those that
/// were not used for the longest time are removed.
///
/// What is kept is checked when it is read: a damaged file is removed, and is as good as none. A
/// disk that is full or refuses costs what would have been kept, and nothing else; it is logged
/// once. Several processes may share a folder; each counts what the others have written when it
/// looks through the folder, every sixteenth of the bound that it writes. Any thread.
class PictureFiles
{
public:
    /// `mostBytes` of room on disk, names of files not counted; 0 keeps nothing.
    PictureFiles(Path folder, std::uint64_t mostBytes);

    /// What was kept by this key.
    std::optional<std::string> Find(const std::string &key);

    /// `key` is any text.
    void Keep(const std::string &key, std::string_view bytes);

private:
    Path FileOf(const std::string &key) const;
    void Count(std::uint64_t bytes);
    void Trim(std::uint64_t most);
    void Refused(const String &why);

    const Path m_folder;
    const std::uint64_t m_most;
    std::atomic<bool> m_isUsable = false;
    std::atomic<bool> m_hasComplained = false;
    std::atomic<std::uint64_t> m_names = 0; // Of files that are being written.
    std::mutex m_mutex;                     // Of what follows.
    std::uint64_t m_written = 0;            // Since the folder was looked through.
};

} // namespace web
