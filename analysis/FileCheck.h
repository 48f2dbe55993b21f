#pragma once

#include <cstdint>

#include "analysis/FileInfo.h"
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

/// Whether a record would change by what was seen. Of the time only the first word counts.
bool IsNews(const _FileInfo &file, const FileLook &look);

/// Stores what was seen; a file that is gone loses its size and time.
void StoreLook(_FileInfo &file, const FileLook &look);

/// Counts what was seen. `minSize` in bytes.
void CountLook(const FileLook &look, unsigned minSize, ScanCounts &counts);

} // namespace analysis
