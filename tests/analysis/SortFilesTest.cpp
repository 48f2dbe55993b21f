#include "analysis/SortFiles.h"

#include <algorithm>
#include <random>
#include <tuple>

#include <gtest/gtest.h>

using namespace analysis;

namespace
{

struct Key
{
    int frame;
    bool exists;
    std::uint64_t size;
    std::int64_t modified;
};

_FileInfo RowOf(const String &name, const Key &key)
{
    _FileInfo file(name, key.frame);
    file.exists = key.exists;
    file.size = key.size;
    file.modified = Time(key.modified);
    return file;
}

SortState State(int column, bool ascending)
{
    SortState state;
    state.m_sortColumn = column;
    state.m_sortAscending = ascending;
    return state;
}

std::string RowNames(const _FileInfoList &files)
{
    std::string names;
    for (const _FileInfo &file : files.get<_FileInfoList::list>())
        names += file.name.Text();
    return names;
}

_FileInfoList Table(const std::vector<Key> &keys)
{
    _FileInfoList files;
    char name = 'a';
    for (const Key &key : keys)
        files.get<_FileInfoList::list>().push_back(RowOf(std::string(1, name++), key));
    return files;
}

template <typename Record> auto AllOf(const Record &file)
{
    return std::tuple(file.frame, file.exists, file.size, file.modified.First());
}

constexpr std::uint64_t k_huge = 0xFFFFFFFFFFFFFFFFu;

} // namespace

TEST(SortFiles, ComparesByEachColumnAndDirection)
{
    const Key low{1, true, 10, -5};
    const Key high{2, true, k_huge, 7};
    const Key missing{1, false, 0, 0};
    const struct
    {
        const char *what;
        int column;
        bool ascending;
        Key a;
        Key b;
        bool before;
    } cases[] = {
        {"frame, lower first", 0, true, low, high, true},
        {"frame, higher not first", 0, true, high, low, false},
        {"frame, equal not before", 0, true, low, low, false},
        {"frame down, higher first", 0, false, high, low, true},
        {"frame down, lower not first", 0, false, low, high, false},
        {"frame down, equal before", 0, false, low, low, true},
        {"frame, negative first", 0, true, {-3, true, 1, 1}, {2, true, 1, 1}, true},
        {"frame, existence not looked at", 0, true, low, missing, false},
        {"frame down, existence not looked at", 0, false, low, missing, true},
        {"column -1 is frame", -1, true, low, high, true},
        {"column 7 is frame", 7, false, low, high, false},
        {"column 3 is frame", 3, false, low, low, true},

        {"size, unsigned", 1, true, low, high, true},
        {"size, unsigned, other way", 1, true, high, low, false},
        {"size, equal not before", 1, true, low, low, false},
        {"size down", 1, false, high, low, true},
        {"size down, equal before", 1, false, low, low, true},
        {"size, missing before present", 1, true, missing, low, true},
        {"size, present not before missing", 1, true, low, missing, false},
        {"size, missing equal", 1, true, missing, missing, false},
        {"size down, missing not before present", 1, false, missing, low, false},
        {"size down, present before missing", 1, false, low, missing, true},
        {"size down, missing both ways", 1, false, missing, missing, true},
        {"size, missing before an empty file", 1, true, missing, {1, true, 0, 0}, true},

        {"date, signed", 2, true, low, high, true},
        {"date, signed, other way", 2, true, high, low, false},
        {"date, equal not before", 2, true, low, low, false},
        {"date down", 2, false, high, low, true},
        {"date down, equal before", 2, false, high, high, true},
        {"date, missing before present of before 1970", 2, true, missing, low, true},
        {"date, present not before missing", 2, true, low, missing, false},
        {"date down, missing not before present", 2, false, missing, high, false},
        {"date down, present before missing", 2, false, low, missing, true},
        {"date down, missing both ways", 2, false, missing, missing, true},
    };

    for (const auto &[what, column, ascending, a, b, before] : cases)
    {
        const SortState state = State(column, ascending);
        EXPECT_EQ(SortFiles(&state)(RowOf("a", a), RowOf("b", b)), before) << what;
    }
}

TEST(SortFiles, ReadsTheSortStateAtEveryComparison)
{
    SortState state = State(0, true);
    const SortFiles before(&state);
    const _FileInfo one("a", 1);
    const _FileInfo two("b", 2);
    EXPECT_TRUE(before(one, two));

    state.m_sortAscending = false;
    EXPECT_FALSE(before(one, two));
}

TEST(SortList, PutsMissingFilesFirstWhenAscendingAndLastWhenDescending)
{
    const std::vector<Key> keys = {
        {1, true, 30, 1}, {2, false, 0, 0}, {3, true, 0, 3}, {4, false, 0, 0}, {5, true, 20, -2}};
    const struct
    {
        int column;
        bool ascending;
        const char *rows;
    } cases[] = {
        {1, true, "bdcea"},
        {1, false, "aecdb"},
        {2, true, "bdeac"},
        {2, false, "caedb"},
    };

    for (const auto &[column, ascending, rows] : cases)
    {
        _FileInfoList files = Table(keys);
        SortList(files, State(column, ascending));
        EXPECT_EQ(RowNames(files), rows) << column << " " << ascending;
    }
}

TEST(SortList, TurnsEqualKeysRoundAtEachDescendingSortAndKeepsThemWhenAscending)
{
    _FileInfoList files =
        Table({{1, true, 5, 0}, {2, true, 5, 0}, {3, true, 5, 0}, {4, true, 9, 0}});

    SortList(files, State(1, true));
    EXPECT_EQ(RowNames(files), "abcd");
    SortList(files, State(1, false));
    EXPECT_EQ(RowNames(files), "dcba");
    SortList(files, State(1, false));
    EXPECT_EQ(RowNames(files), "dabc");
}

TEST(SortList, SortsTheFileNameColumnByNumberNotByPath)
{
    _FileInfoList files;
    for (int frame : {10, 9, 2})
        files.Append("f" + std::to_string(frame), frame);

    SortList(files, State(0, true));
    EXPECT_EQ(RowNames(files), "f2f9f10");
}

TEST(SortList, LeavesFewerThanTwoRecordsAlone)
{
    _FileInfoList files;
    SortList(files, State(1, false));
    EXPECT_EQ(files.size(), 0u);

    files.Append("a", 1);
    SortList(files, State(1, false));
    EXPECT_EQ(RowNames(files), "a");
}

TEST(SortList, LeavesThePathViewAlone)
{
    _FileInfoList files = Table({{3, true, 1, 1}, {2, true, 2, 2}, {1, true, 3, 3}});
    SortList(files, State(0, true));

    EXPECT_EQ(RowNames(files), "cba");
    EXPECT_EQ(files.get<_FileInfoList::path>().begin()->name, Path("a"));
    EXPECT_EQ(files.PathToIndex("a"), 2);
}

TEST(SortList, OrdersByTheKeyAndEqualKeysByTheirRowOneWayOrTheOther)
{
    std::mt19937 random(7);
    for (const int rows : {2, 3, 7, 8, 15, 16, 100, 1000, 5000})
    {
        for (const int column : {0, 1, 2})
        {
            _FileInfoList files;
            // What a row is sorted by, missing files first, then the row: no two are the same. Few
            // different keys, so that most are equal to others.
            std::vector<std::tuple<bool, std::int64_t, int>> order;
            for (int row = 0; row < rows; ++row)
            {
                const Key key{int(random() % 9) - 4, random() % 3 > 0, random() % 5,
                              std::int64_t(random() % 7) - 3};
                files.get<_FileInfoList::list>().push_back(RowOf("f" + std::to_string(row), key));
                if (column == 0)
                    order.emplace_back(false, key.frame, row);
                else if (!key.exists)
                    order.emplace_back(false, 0, row);
                else
                    order.emplace_back(true, column == 1 ? std::int64_t(key.size) : key.modified,
                                       row);
            }
            std::sort(order.begin(), order.end());

            for (const bool ascending : {true, false})
            {
                _FileInfoList sorted = files;
                SortList(sorted, State(column, ascending));
                const auto &list = sorted.get<_FileInfoList::list>();
                for (std::size_t row = 0; row < order.size(); ++row)
                {
                    const auto &expected = order[ascending ? row : order.size() - 1 - row];
                    ASSERT_EQ(list[row].name.Text(), "f" + std::to_string(std::get<2>(expected)))
                        << rows << " rows, column " << column << ", ascending " << ascending
                        << ", row " << row;
                }
            }
        }
    }
}

TEST(SortFrames, GivesTheOrderOfTheListForAnyRowsAndSeveralSorts)
{
    std::mt19937 random(11);
    for (int round = 0; round < 200; ++round)
    {
        _FileInfoList files;
        std::vector<FrameRecord> frames;
        const int rows = int(random() % 60);
        for (int row = 0; row < rows; ++row)
        {
            const Key key{int(random() % 20), random() % 4 != 0, random() % 5,
                          std::int64_t(random() % 5)};
            files.get<_FileInfoList::list>().push_back(RowOf(std::to_string(row), key));
            frames.push_back({key.size, Time(key.modified), key.frame, key.exists});
        }
        for (int sort = 0; sort < 3; ++sort)
        {
            const SortState state = State(int(random() % 3), random() % 2 == 0);
            SortList(files, state);
            SortFrames(frames, state);
            const auto &list = files.get<_FileInfoList::list>();
            for (std::size_t row = 0; row < frames.size(); ++row)
                ASSERT_EQ(AllOf(list[row]), AllOf(frames[row]))
                    << "round " << round << ", sort " << sort << ", row " << row;
        }
    }
}
