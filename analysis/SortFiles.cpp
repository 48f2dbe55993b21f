#include "analysis/SortFiles.h"

#include <algorithm>
#include <functional>
#include <vector>

#include "ostrel/CallEntry.h"

namespace analysis
{

using ostrel::_CallEntry;

namespace
{

constexpr int k_size_column = 1;
constexpr int k_date_column = 2;

/// The result of two keys: smaller when ascending, greater or equal when descending.
template <typename Key> bool StandsBefore(Key a, Key b, bool ascending)
{
    return (a >= b) != ascending;
}

template <typename Record>
bool PresentStandsBefore(const Record &a, const Record &b, const SortState &state)
{
    if (!a.exists)
        return state.m_sortAscending == b.exists;
    if (!b.exists)
        return !state.m_sortAscending;
    if (state.m_sortColumn == k_size_column)
        return StandsBefore(a.size, b.size, state.m_sortAscending);
    return StandsBefore(a.modified.First(), b.modified.First(), state.m_sortAscending);
}

template <typename Record>
bool RecordStandsBefore(const Record &a, const Record &b, const SortState &state)
{
    if (state.m_sortColumn == k_size_column || state.m_sortColumn == k_date_column)
        return PresentStandsBefore(a, b, state);
    return StandsBefore(a.frame, b.frame, state.m_sortAscending);
}

} // namespace

SortFiles::SortFiles(const SortState *state) : m_state(state)
{
    _CallEntry call("SortFiles::SortFiles", __FILE__, __LINE__);
}

bool SortFiles::operator()(const _FileInfo &a, const _FileInfo &b) const
{
    _CallEntry call("SortFiles::operator()", __FILE__, __LINE__);

    return RecordStandsBefore(a, b, *m_state);
}

bool SortFiles::operator()(const FrameRecord &a, const FrameRecord &b) const
{
    _CallEntry call("SortFiles::operator()", __FILE__, __LINE__);

    return RecordStandsBefore(a, b, *m_state);
}

void SortList(_FileInfoList &files, const SortState &state)
{
    files.get<_FileInfoList::list>().sort(SortFiles(&state));
}

void SortFrames(std::vector<FrameRecord> &frames, const SortState &state)
{
    // Ascending rows stay as they are; descending ones may not, where keys are equal.
    const SortFiles order(&state);
    if (state.m_sortAscending && std::is_sorted(frames.begin(), frames.end(), order))
        return;
    std::stable_sort(frames.begin(), frames.end(), order); // The sort behind the list view's.
}

} // namespace analysis
