#pragma once

#include <cstdint>
#include <list>
#include <optional>
#include <string_view>

#include "ostrel/Path.h"
#include "ostrel/Time.h"

namespace ostrel
{

/// Things done to files by name.
class File
{
public:
    /// Folders that are searched, front to back, for a file given by its leaf alone: options, the
    /// shared GUI options. Set up by the client application before anything is read. Main thread.
    static std::list<Path> s_AltPaths;

    /// Removes one file or symbolic link, never a folder; `toTrash` moves it to the desktop's
    /// trash instead, which is there for files of the home's file system only. True when no file
    /// of that name is there any more (also when there was none). Never throws.
    static bool Delete(const Path &path, bool toTrash);

    /// The first of `s_AltPaths` that holds a readable file of this leaf; nothing when none does.
    static std::optional<Path> FindInAltPaths(const String &leaf);

    /// Writes `content` beside `path`, syncs it and renames it over `path`, so that a reader, or a
    /// crash, sees the old content or the new, never half of one. Makes missing folders. The new
    /// file has the permissions of the old one; a symbolic link stays, what it points to is
    /// replaced. Throws `Exception *` with the reason, also for a file that is write-protected and
    /// for what is no regular file; the old file is then untouched and nothing is left behind.
    static void WriteWhole(const Path &path, std::string_view content);

    /// All bytes of a file; throws `Exception *` with the reason (also past `maxBytes`).
    static String ReadWhole(const Path &path, std::size_t maxBytes = 64u << 20);
};

/// What the disk says of one file.
///
/// Symbolic links are followed. Only regular files are found: a folder, a device or a broken link
/// is no file. One system call per `Find`.
class FileFinder
{
public:
    /// True when the file exists; `Size` and `Modified` then tell of it.
    bool Find(const Path &path);

    /// The same by its name from an open folder on, which spares the system the way there: 0 when
    /// the file exists, else the system's error number, ENOENT also for what is no regular file.
    int FindAt(int folder, const char *name);

    /// Bytes.
    std::uint64_t Size() const
    {
        return m_size;
    }
    Time Modified() const
    {
        return m_modified;
    }

private:
    std::uint64_t m_size = 0;
    Time m_modified;
};

} // namespace ostrel
