#include "analysis/SortFiles.h"

#include <algorithm>
#include <functional>
#include <vector>

namespace analysis
{

namespace
{

constexpr int k_sizeColumn = 1;
constexpr int k_dateColumn = 2;

/// The result of two keys: smaller when ascending, greater or equal when descending.
template <typename Key> bool StandsBefore(Key a, Key b, bool ascending)
{
    return (a >= b) != ascending;
}

bool PresentStandsBefore(const _FileInfo &a, const _FileInfo &b, const SortState &state)
{
    if (!a.exists)
        return state.m_sortAscending == b.exists;
    if (!b.exists)
        return !state.m_sortAscending;
    if (state.m_sortColumn == k_sizeColumn)
        return StandsBefore(a.size, b.size, state.m_sortAscending);
    return StandsBefore(a.modified.First(), b.modified.First(), state.m_sortAscending);
}

} // namespace

bool SortFiles::operator()(const _FileInfo &a, const _FileInfo &b) const
{
    if (m_state->m_sortColumn == k_sizeColumn || m_state->m_sortColumn == k_dateColumn)
        return PresentStandsBefore(a, b, *m_state);
    return StandsBefore(a.frame, b.frame, m_state->m_sortAscending);
}

void SortList(_FileInfoList &files, const SortState &state)
{
    files.get<_FileInfoList::list>().sort(SortFiles(&state));
}

} // namespace analysis
