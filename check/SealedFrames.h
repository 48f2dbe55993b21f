#pragma once

#include <optional>
#include <vector>

#include "check/CheckTable.h"
#include "check/HashList.h"
#include "check/LookAtTable.h"

namespace check
{

/// Paths of files relative to a folder, as a hash list has them. Links on the way are followed; the
/// file itself is named as it is.
class PathsWithin
{
public:
    /// `folder`: as `FolderOf` gives it.
    explicit PathsWithin(Path folder) : m_folder(std::move(folder)) {}

    /// Nothing for a file that is not beneath the folder.
    std::optional<String> Of(const Path &file);

private:
    const Path m_folder;
    Path m_parent; ///< Of the file before, and what it is relative to the folder.
    std::optional<String> m_within;
};

/// Hash lists that frames are held against.
class SealedFrames
{
public:
    /// Reads them. Throws `CheckException *`.
    explicit SealedFrames(const std::vector<Path> &lists);

    /// Reads the files of a judged table and stores what was found: a file that is not what was
    /// sealed is `CheckState::Changed`, whatever else it was; one that cannot be read, and one that
    /// no list has a hash of, is not known to be, and has that as its trouble. Of several lists
    /// that name a file the first counts. Each file is read whole unless its size tells already.
    void Check(CheckTable &table, const Progress &progress) const;

private:
    struct List
    {
        Path file;
        HashList list;
    };
    std::vector<List> m_lists;
};

/// Where frames are sealed, and how.
struct SealWish
{
    std::optional<Path> to; ///< The list; else one in each folder that has frames.
    bool renews = false;    ///< Files that are not what was sealed are sealed as they are.
};

/// What came of it, by output number.
struct Sealed
{
    corvan::SequenceDistributor::Items now;     ///< Were sealed.
    corvan::SequenceDistributor::Items already; ///< Were, and are as they were.
    std::vector<Path> lists;                    ///< That have them.
};

/// Seals those frames of a judged table that are ok, of the rows for which `isWanted` is set. A
/// file that is another than was sealed is `CheckState::Changed` and stays as it was sealed; one
/// that cannot be read, or has no name that a list can hold, has that as its trouble. Throws
/// `CheckException *` where a list cannot be read or written.
Sealed SealFrames(CheckTable &table, const std::vector<bool> &isWanted, const SealWish &wish,
                  const Progress &progress);

} // namespace check
