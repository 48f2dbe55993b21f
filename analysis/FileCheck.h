#pragma once

#include <cstdint>

#include "analysis/ScanRules.h"
#include "ostrel/File.h"

namespace analysis
{

/// What a pass has found so far. Both start at 0 with each pass.
struct ScanCounts
{
    std::uint64_t missing = 0;
    std::uint64_t tooSmall = 0; ///< Found, but below the smallest acceptable size.
};

/// What the disk says of one file.
struct FileLook
{
    bool exists = false;
    std::uint64_t size = 0;
    Time modified;
};

/// Looks at one file. `Finder` is the disk; tests give one of their own with the same three
/// operations.
template <typename Finder = ostrel::FileFinder>
FileLook LookAt(const Path &path, Finder finder = {})
{
    if (!finder.Find(path))
        return {};
    return {true, finder.Size(), finder.Modified()};
}

/// Whether a record (`_FileInfo`, `FrameRecord`) would change by what was seen: a `FileLook`, or
/// the record of another look. Of the time only the first word counts.
template <typename Record, typename Look> bool IsNews(const Record &file, const Look &look)
{
    if (!look.exists)
        return file.exists;
    return !file.exists || look.modified.First() != file.modified.First() || look.size != file.size;
}

/// Stores what was seen; a file that is gone loses its size and time.
template <typename Record> void StoreLook(Record &file, const FileLook &look)
{
    file.exists = look.exists;
    file.size = look.exists ? look.size : 0;
    if (!look.exists)
        file.modified = Time();
    else if (look.modified.First() != file.modified.First())
        file.modified = look.modified;
}

/// Counts what was seen.
void CountLook(const FileLook &look, const ScanRules &rules, ScanCounts &counts);

} // namespace analysis
