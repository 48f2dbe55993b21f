// Classification: the verdict on all rows and on the rows of a screen.
// Yardstick: the definition as it stands, every neighbour of every row visited, offset 5.
// The robust rule's yardstick is the neighbours' rule on the same rows, at the same offset.
#include <cmath>
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

/// Rows of sizes as `next` makes them; one in a hundred is cut to a third.
template <typename Next> std::vector<FrameRecord> MakeRows(std::size_t size, Next &&next)
{
    std::mt19937_64 random(7);
    std::vector<FrameRecord> rows(size);
    for (FrameRecord &row : rows)
    {
        row.exists = true;
        row.size = next(random);
        if (random() % 100 == 0)
            row.size /= 3;
    }
    return rows;
}

void MeasureRules(const std::string &what, const std::vector<FrameRecord> &rows)
{
    const std::size_t size = rows.size();
    const int repetitions = Repetitions(size);
    std::vector<FrameState> states(size);
    std::size_t sink = 0;
    for (const int offset : {5, 16, 100, 1000})
    {
        const ScanRules rules{500, offset, 0.15f};
        const auto judgeAll = [&]
        {
            JudgeAll(rows, rules, [&](std::size_t row, FrameState state) { states[row] = state; });
            sink += states[size / 2] == FrameState::Ok;
        };
        const auto findOutliers = [&] { sink += FindRobustOutliers(rows, rules).size(); };
        const auto visitBands = [&]
        {
            VisitRobustBands(rows, rules,
                             [&](std::size_t, const std::optional<RobustBand> &band)
                             { sink += band && band->score > 1; });
        };
        // In processor time, and by turns, so that what else runs here meets all alike.
        std::vector<double> plain, robust, bands;
        for (int i = 0; i < repetitions; ++i)
        {
            plain.push_back(Measure<ThreadTime>(1, judgeAll).minMs);
            robust.push_back(Measure<ThreadTime>(1, findOutliers).minMs);
            bands.push_back(Measure<ThreadTime>(1, visitBands).minMs);
        }
        const Timing yardstick = FromTimes(plain);
        PrintYardstick(WithOffset(("neighbours' rule, " + what).c_str(), offset), size, yardstick);
        PrintRow(WithOffset(("robust rule, " + what).c_str(), offset), size, FromTimes(robust),
                 yardstick);
        PrintRow(WithOffset(("scores and bands, " + what).c_str(), offset), size, FromTimes(bands),
                 yardstick);
    }
    if (sink == 0)
        std::exit(1); // No row was judged, so nothing was measured.
}

/// Sizes that differ by so many percent, that are anywhere in ten octaves, and two by turns.
void MeasureRulesOf(std::size_t size)
{
    for (const unsigned percent : {2u, 10u, 40u, 400u})
        MeasureRules("rows that differ by " + std::to_string(percent) + " %",
                     MakeRows(size, [&](auto &random)
                              { return 1'000'000 + random() % (10'000 * percent); }));
    MeasureRules("rows anywhere in ten octaves",
                 MakeRows(size,
                          [](auto &random)
                          {
                              std::uniform_real_distribution<double> octaves(0, 10);
                              return std::uint64_t(10'000 * std::exp2(octaves(random)));
                          }));
    MeasureRules("rows of two sizes by turns",
                 MakeRows(size, [isFirst = false](auto &) mutable
                          { return (isFirst = !isFirst) ? 1'000'000 : 3'000'000; }));
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
    MeasureRulesOf(100'000);
    ostrel::LogStop();
}
