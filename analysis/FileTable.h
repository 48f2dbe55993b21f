#pragma once

#include <cstdint>
#include <set>

#include "analysis/FileCheck.h"
#include "analysis/FileInfo.h"
#include "analysis/NeighbourSums.h"
#include "analysis/ScanRules.h"
#include "analysis/SortFiles.h"
#include "corvan/SequenceDistributor.h"

namespace analysis
{

/// What can be done with a table of expected files: fill it, check it against the disk, sort it,
/// and say which rows are bad.
///
/// The records belong to the caller, who shows them; they are changed through this class alone
/// while it lives, since it keeps sums over them (16 bytes a row, made when the first row with a
/// large neighbourhood is judged). One thread.
class FileTable
{
public:
    /// `files` must outlive the table.
    explicit FileTable(_FileInfoList &files);
    FileTable(const FileTable &) = delete;
    FileTable &operator=(const FileTable &) = delete;

    /// The rules that judge from now on.
    void SetRules(const ScanRules &rules);
    const ScanRules &Rules() const
    {
        return m_rules;
    }

    std::size_t RowCount() const
    {
        return m_files.size();
    }

    /// Adds a record as the last row; false, and nothing changed, for a path that is there.
    bool Append(const Path &name, int frame);

    /// Takes all records out and gives their memory back.
    void Clear();

    /// Looks at one row's file, stores what it found and counts it. True when the record changed.
    /// False, and nothing counted, for a row outside the table. `Finder`: see `LookAt`.
    template <typename Finder = ostrel::FileFinder>
    bool CheckRow(std::size_t row, ScanCounts &counts, Finder finder = {})
    {
        if (row >= RowCount())
            return false;
        return Take(row, LookAt(m_files.get<_FileInfoList::list>()[row].name, finder), counts);
    }

    /// Stores and counts what was seen of one row, which must be in the table. True when the
    /// record changed.
    bool Take(std::size_t row, const FileLook &look, ScanCounts &counts);

    /// Re-orders the rows; see `SortList`.
    void Sort(const SortState &state);

    /// Judges one row by its neighbours in the present order, with a trace line when it is bad. A
    /// row outside the table is Ok. Logarithmic at most, whatever the frame offset is; the first
    /// call after the rows were added, sorted, or judged by other rules may be linear.
    FrameState Classify(std::int64_t row) const;

    /// Paths, or output numbers, of all bad rows; every row is judged, with its trace line.
    /// Linear, whatever the frame offset is.
    std::set<Path> FindBadPaths() const;
    corvan::SequenceDistributor::Items FindBadFrames() const;

    /// How many rows of these output numbers are Ok; only such rows are judged.
    std::size_t CountGood(const corvan::SequenceDistributor::Items &frames) const;

private:
    Neighbours NeighboursOf(std::int64_t row) const;

    _FileInfoList &m_files;
    ScanRules m_rules;
    mutable NeighbourSums m_sums; ///< Of no rows while out of date.
};

} // namespace analysis
