// Sorting: rows in random order, by each column and direction, in processor time.
// Yardstick: std::stable_sort of a vector of the bare keys. Beside it the same sort of the same
// rows by a comparator that opens no call entry.
#include <numeric>
#include <random>

#include "analysis/SortFiles.h"
#include "bench/Measure.h"

using namespace analysis;
using namespace bench;

namespace
{

/// Rows whose number, size and date follow a random order each.
void Fill(_FileInfoList &files, std::size_t size)
{
    std::mt19937_64 random(42);
    std::vector<int> frames(size);
    std::iota(frames.begin(), frames.end(), 0);
    std::shuffle(frames.begin(), frames.end(), random);
    for (const int frame : frames)
    {
        char path[64];
        std::snprintf(path, sizeof path, "/renders/beauty/beauty.%07d.exr", frame);
        _FileInfo file(Path(path), frame);
        file.exists = random() % 10 > 0;
        file.size = file.exists ? random() % 100'000 : 0;
        file.modified = file.exists ? ostrel::Time(std::int64_t(random() % size)) : ostrel::Time();
        files.get<_FileInfoList::list>().push_back(file);
    }
}

Timing MeasureKeys(std::size_t size)
{
    std::mt19937_64 random(42);
    std::vector<std::uint64_t> keys(size);
    return Measure<ThreadTime>(
        Repetitions(size),
        [&] { std::generate(keys.begin(), keys.end(), [&] { return random() % 100'000; }); },
        [&] { std::stable_sort(keys.begin(), keys.end()); });
}

Timing MeasureWithoutEntries(const _FileInfoList &unsorted)
{
    _FileInfoList files;
    return Measure<ThreadTime>(
        Repetitions(unsorted.size()), [&] { files = unsorted; },
        [&]
        {
            files.get<_FileInfoList::list>().sort([](const _FileInfo &a, const _FileInfo &b)
                                                  { return a.frame < b.frame; });
        });
}

} // namespace

int main()
{
    const char *const columns[] = {"by output number", "by size", "by date"};

    PrintHead("Sorting");
    for (const std::size_t size : k_sizes)
    {
        const Timing keys = MeasureKeys(size);
        PrintYardstick("std::stable_sort of bare keys", size, keys);

        _FileInfoList unsorted;
        Fill(unsorted, size);
        PrintRow("by output number, no call entries", size, MeasureWithoutEntries(unsorted), keys);
        for (const int column : {0, 1, 2})
        {
            for (const bool ascending : {true, false})
            {
                SortState state;
                state.m_sortColumn = column;
                state.m_sortAscending = ascending;
                _FileInfoList files;
                const Timing timing = Measure<ThreadTime>(
                    Repetitions(size), [&] { files = unsorted; }, [&] { SortList(files, state); });
                PrintRow(std::string(columns[column]) + (ascending ? "" : ", descending"), size,
                         timing, keys);
            }
        }
    }
}
