#include "analysis/FileInfo.h"

#include <iterator>

#include "ostrel/CallEntry.h"

namespace analysis
{

using ostrel::_CallEntry;

int _FileInfoList::PathToIndex(const Path &name) const
{
    _CallEntry call("_FileInfoList::PathToIndex", __FILE__, __LINE__);

    const auto &paths = get<path>();
    const auto found = paths.find(name);
    if (found == paths.end())
        return -1;

    const auto &rows = get<list>();
    return int(project<list>(found) - rows.begin());
}

bool _FileInfoList::Append(const Path &name, int frame)
{
    _CallEntry call("_FileInfoList::Append", __FILE__, __LINE__);

    auto &rows = get<list>();
    auto &paths = get<path>();
    // Neighbouring frames have neighbouring paths, so the new one mostly follows the last row's.
    const auto hint = rows.empty() ? paths.end() : std::next(project<path>(std::prev(rows.end())));

    // Whichever view takes a record, the list view gets it at its end.
    const auto before = rows.size();
    paths.emplace_hint(hint, name, frame);
    return rows.size() > before;
}

} // namespace analysis
