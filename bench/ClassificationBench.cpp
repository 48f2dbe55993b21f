// Classification: the verdict on all rows and on the rows of a screen.
// Yardstick: the definition as it stands, every neighbour of every row visited, offset 5.
// The robust rule's yardstick is the neighbours' rule on the same rows, at the same offset.
#include <random>

#include "analysis/FileTable.h"
#include "analysis/RobustRule.h"
#include "bench/Measure.h"
#include "ostrel/Log.h"

using namespace analysis;
using namespace bench;

namespace
{

constexpr int k_screen = 50;

/// Rows of about a megabyte; one in `badEvery` is missing.
void Fill(FileTable &table, std::size_t size, unsigned badEvery)
{
    std::mt19937_64 random(42);
    ScanCounts counts;
    table.Clear();
    for (std::size_t row = 0; row < size; ++row)
    {
        char path[64];
        std::snprintf(path, sizeof path, "/renders/beauty/beauty.%07zu.exr", row);
        table.Append(Path(path), int(row));
        const bool exists = random() % badEvery != 0;
        table.Take(row, {exists, exists ? 1'000'000 + random() % 10'000 : 0, ostrel::Time(1)},
                   counts);
    }
}

std::size_t CountBadPlainly(const _FileInfoList &files, const ScanRules &rules)
{
    const auto &rows = files.get<_FileInfoList::list>();
    std::size_t bad = 0;
    for (std::int64_t row = 0; row < std::int64_t(rows.size()); ++row)
    {
        const RowSpan span = NeighbourRows(row, std::int64_t(rows.size()), rules.frameOffset);
        Neighbours others;
        for (std::int64_t other = span.lo; other < span.hi; ++other)
        {
            if (other != row)
                others += AsNeighbour(rows[std::size_t(other)], rules);
        }
        bad += Judge(rows[std::size_t(row)], others, rules) != FrameState::Ok;
    }
    return bad;
}

void ClassifyScreen(const FileTable &table)
{
    const std::size_t first = table.RowCount() / 2;
    for (std::size_t row = first; row < first + k_screen; ++row)
        table.Classify(std::int64_t(row));
}

std::string WithOffset(const char *what, int offset)
{
    return std::string(what) + ", offset " + std::to_string(offset);
}

void MeasureSize(std::size_t size)
{
    _FileInfoList files;
    FileTable table(files);
    const int repetitions = Repetitions(size);
    std::size_t sink = 0;

    Fill(table, size, 100);
    table.SetRules({500, 5, 0.15f});
    const Timing plain =
        Measure(repetitions, [&] { sink += CountBadPlainly(files, table.Rules()); });
    PrintYardstick("every neighbour visited, offset 5", size, plain);
    for (const int offset : {5, 10'000})
    {
        table.SetRules({500, offset, 0.15f});
        PrintRow(WithOffset("all bad frames, 1 % bad", offset), size,
                 Measure(repetitions, [&] { sink += table.FindBadFrames().size(); }), plain);
        PrintRow(WithOffset("all bad paths, 1 % bad", offset), size,
                 Measure(repetitions, [&] { sink += table.FindBadPaths().size(); }), plain);
        table.Classify(0);
        PrintRow(WithOffset("50 rows of a screen", offset), size,
                 Measure(repetitions, [&] { ClassifyScreen(table); }), plain);
        PrintRow(WithOffset("50 rows, first time after a sort", offset), size,
                 Measure(
                     repetitions, [&] { table.Sort(SortState()); }, [&] { ClassifyScreen(table); }),
                 plain);
    }

    Fill(table, size, 1);
    for (const int offset : {5, 10'000})
    {
        table.SetRules({500, offset, 0.15f});
        PrintRow(WithOffset("all bad frames, all bad", offset), size,
                 Measure(
                     repetitions, [] { ostrel::LogFlush(); },
                     [&] { sink += table.FindBadFrames().size(); }),
                 plain);
        PrintRow(WithOffset("all bad paths, all bad", offset), size,
                 Measure(
                     repetitions, [] { ostrel::LogFlush(); },
                     [&] { sink += table.FindBadPaths().size(); }),
                 plain);
    }
    if (sink == 0)
        std::exit(1); // No row was bad, so nothing was measured.
}

/// Rows that differ by so many percent at random; one in a hundred is cut to a third.
std::vector<FrameRecord> MakeRows(std::size_t size, unsigned percent)
{
    std::mt19937_64 random(7);
    std::vector<FrameRecord> rows(size);
    for (FrameRecord &row : rows)
    {
        row.exists = true;
        row.size = 1'000'000 + random() % (10'000 * percent);
        if (random() % 100 == 0)
            row.size /= 3;
    }
    return rows;
}

void MeasureRules(std::size_t size, unsigned percent)
{
    const std::vector<FrameRecord> rows = MakeRows(size, percent);
    const int repetitions = Repetitions(size);
    std::vector<FrameState> states(size);
    std::size_t sink = 0;
    const std::string what = "rows that differ by " + std::to_string(percent) + " %";
    for (const int offset : {5, 1000})
    {
        const ScanRules rules{500, offset, 0.15f};
        // In processor time, and by turns, so that what else runs here meets both alike.
        std::vector<double> plain, robust;
        for (int i = 0; i < repetitions; ++i)
        {
            plain.push_back(Measure<ThreadTime>(1,
                                                [&]
                                                {
                                                    JudgeAll(rows, rules,
                                                             [&](std::size_t row, FrameState state)
                                                             { states[row] = state; });
                                                    sink += states[size / 2] == FrameState::Ok;
                                                })
                                .minMs);
            robust.push_back(
                Measure<ThreadTime>(1, [&] { sink += FindRobustOutliers(rows, rules).size(); })
                    .minMs);
        }
        const Timing yardstick = FromTimes(plain);
        PrintYardstick(WithOffset(("neighbours' rule, " + what).c_str(), offset), size, yardstick);
        PrintRow(WithOffset(("robust rule, " + what).c_str(), offset), size, FromTimes(robust),
                 yardstick);
    }
    if (sink == 0)
        std::exit(1); // No row was judged, so nothing was measured.
}

} // namespace

int main()
{
    const Folder folder;
    ostrel::LogSettings settings;
    settings.file = ostrel::Path(folder / "bench.log");
    ostrel::LogStart(settings);
    PrintHead("Classification, log lines of bad rows to a file");
    for (const std::size_t size : k_sizes)
        MeasureSize(size);
    PrintHead("Rules for sizes, one row in a hundred cut to a third");
    for (const unsigned percent : {2u, 10u, 40u, 400u})
        MeasureRules(100'000, percent);
    ostrel::LogStop();
}
