#include "analysis/FileTable.h"

#include <map>
#include <random>

#include <gtest/gtest.h>

#include "tests/support/LogCapture.h"

#include "VerdictByDistance.h"

using namespace analysis;

namespace
{

/// A disk of named sizes.
struct FakeDisk
{
    std::map<Path, std::uint64_t> sizes;
    std::int64_t modified = 1;

    struct Finder
    {
        const FakeDisk *disk;
        std::uint64_t size = 0;

        bool Find(const Path &path)
        {
            const auto found = disk->sizes.find(path);
            if (found == disk->sizes.end())
                return false;
            size = found->second;
            return true;
        }
        std::uint64_t Size() const
        {
            return size;
        }
        Time Modified() const
        {
            return Time(disk->modified);
        }
    };
};

Path Name(int frame)
{
    return "f" + std::to_string(frame);
}

class FileTableTest : public testing::Test
{
protected:
    void Expect(int frames)
    {
        for (int frame = 1; frame <= frames; ++frame)
            m_table.Append(Name(frame), frame);
    }

    void Pass()
    {
        m_counts = {};
        for (std::size_t row = 0; row < m_table.RowCount(); ++row)
            m_table.CheckRow(row, m_counts, FakeDisk::Finder{&m_disk});
    }

    const _FileInfo &Row(std::size_t row) const
    {
        return m_files.get<_FileInfoList::list>()[row];
    }

    std::string Verdicts() const
    {
        std::string verdicts;
        for (std::size_t row = 0; row < m_table.RowCount(); ++row)
            verdicts += ".mso"[int(m_table.Classify(std::int64_t(row)))];
        return verdicts;
    }

    _FileInfoList m_files;
    FileTable m_table{m_files};
    FakeDisk m_disk;
    ScanCounts m_counts;
};

} // namespace

TEST_F(FileTableTest, ChecksRowsAgainstTheDiskAndCountsThem)
{
    Expect(4);
    m_disk.sizes = {{"f1", 1000}, {"f2", 499}, {"f4", 500}};
    Pass();

    EXPECT_EQ(m_counts.missing, 1u);
    EXPECT_EQ(m_counts.tooSmall, 1u);
    EXPECT_TRUE(Row(0).exists);
    EXPECT_EQ(Row(1).size, 499u);
    EXPECT_EQ(Row(1).modified, Time(1));
    EXPECT_FALSE(Row(2).exists);
}

TEST_F(FileTableTest, TellsWhetherACheckChangedTheRecord)
{
    Expect(1);
    const FakeDisk::Finder finder{&m_disk};
    EXPECT_FALSE(m_table.CheckRow(0, m_counts, finder));
    m_disk.sizes = {{"f1", 1000}};
    EXPECT_TRUE(m_table.CheckRow(0, m_counts, finder));
    EXPECT_FALSE(m_table.CheckRow(0, m_counts, finder));
    m_disk.modified = 2;
    EXPECT_TRUE(m_table.CheckRow(0, m_counts, finder));
    m_disk.sizes.clear();
    EXPECT_TRUE(m_table.CheckRow(0, m_counts, finder));
    EXPECT_FALSE(m_table.CheckRow(0, m_counts, finder));
}

TEST_F(FileTableTest, ChecksAndCountsNothingOutsideTheTable)
{
    Expect(1);
    EXPECT_FALSE(m_table.CheckRow(1, m_counts, FakeDisk::Finder{&m_disk}));
    EXPECT_EQ(m_counts.missing, 0u);
}

TEST_F(FileTableTest, ForgetsSizeAndDateOfAFileThatVanishes)
{
    Expect(1);
    m_disk.sizes = {{"f1", 1000}};
    Pass();
    m_disk.sizes.clear();
    Pass();

    EXPECT_EQ(m_counts.missing, 1u);
    EXPECT_FALSE(Row(0).exists);
    EXPECT_EQ(Row(0).size, 0u);
    EXPECT_EQ(Row(0).modified, Time());
}

TEST_F(FileTableTest, RefusesAPathThatIsThere)
{
    Expect(2);
    EXPECT_FALSE(m_table.Append(Name(1), 9));
    EXPECT_EQ(m_table.RowCount(), 2u);
}

TEST_F(FileTableTest, IsEmptyAfterItIsCleared)
{
    Expect(3);
    m_table.Clear();

    EXPECT_EQ(m_table.RowCount(), 0u);
    EXPECT_EQ(m_files.PathToIndex(Name(1)), -1);
    Expect(2);
    EXPECT_EQ(Row(0).name, Name(1));
}

TEST_F(FileTableTest, JudgesRowsOutsideTheTableAsFine)
{
    Expect(1);
    LogCapture log;

    EXPECT_EQ(m_table.Classify(-1), FrameState::Ok);
    EXPECT_EQ(m_table.Classify(1), FrameState::Ok);
    EXPECT_TRUE(log.Lines().empty());
    EXPECT_EQ(m_table.Classify(0), FrameState::Missing);
    EXPECT_EQ(log.Texts(ostrel::k_LogInfo), (std::vector<std::string>{"f1 bad: Missing"}));
}

TEST_F(FileTableTest, FindsTheBadPathsAndFrames)
{
    Expect(11);
    for (int frame = 1; frame <= 11; ++frame)
        m_disk.sizes[Name(frame)] = 1000;
    m_disk.sizes.erase(Name(2));
    m_disk.sizes[Name(4)] = 499;
    m_disk.sizes[Name(10)] = 600;
    Pass();

    LogCapture log;
    EXPECT_EQ(m_table.FindBadPaths(), (std::set<Path>{"f10", "f2", "f4"}));
    EXPECT_EQ(
        log.Texts(ostrel::k_LogInfo),
        (std::vector<std::string>{"f2 bad: Missing", "f4 bad: MinSize", "f10 bad: Neighbors"}));
    const auto frames = m_table.FindBadFrames();
    EXPECT_EQ((std::vector<int>{frames.begin(), frames.end()}), (std::vector<int>{2, 4, 10}));
    EXPECT_EQ(log.Lines().size(), 6u);
}

TEST_F(FileTableTest, TakesTheNeighboursFromTheDisplayOrder)
{
    Expect(6);
    // By number every row lies between others of another size; by size they stand
    // with their own.
    for (int frame = 1; frame <= 6; ++frame)
        m_disk.sizes[Name(frame)] = frame % 2 ? 1000 : 90000;
    m_table.SetRules({500, 1, 0.15f});
    Pass();
    EXPECT_EQ(Verdicts(), "oooooo");

    SortState bySize;
    bySize.m_sortColumn = 1;
    m_table.Sort(bySize);
    EXPECT_EQ(Verdicts(), "..oo..");
}

TEST_F(FileTableTest, JudgesByTheRulesThatWereSetLast)
{
    Expect(300);
    for (int frame = 1; frame <= 300; ++frame)
        m_disk.sizes[Name(frame)] = frame <= 150 ? 1000 : 2000;
    Pass();
    const ScanRules all{500, 300, 0.15f};
    m_table.SetRules(all);
    EXPECT_EQ(Verdicts(), std::string(300, 'o'));

    m_table.SetRules({1500, 300, 0.15f});
    EXPECT_EQ(Verdicts(), std::string(150, 's') + std::string(150, '.'));
    m_table.SetRules({1500, 300, 1.5f});
    EXPECT_EQ(Verdicts(), std::string(150, 's') + std::string(150, 'o'));
}

TEST_F(FileTableTest, GivesTheVerdictOfItsRowsWhateverWasDoneToTheTableBefore)
{
    std::mt19937_64 random(13);
    int frames = 0;
    int quarters = 1;
    m_table.SetRules({500, 5, 0.25f});
    for (int round = 0; round < 400; ++round)
    {
        switch (random() % 8)
        {
        case 0:
            for (int more = int(random() % 60); more > 0; --more)
            {
                ++frames;
                m_table.Append(Name(frames), frames);
            }
            break;
        case 1:
        {
            SortState state;
            state.m_sortColumn = int(random() % 3);
            state.m_sortAscending = random() % 2;
            m_table.Sort(state);
            break;
        }
        case 2:
            quarters = int(random() % 5);
            m_table.SetRules({unsigned(random() % 1000), int(random() % 300), float(quarters) / 4});
            break;
        case 3:
            if (random() % 10 == 0)
                m_table.Clear();
            break;
        default:
            if (m_table.RowCount() > 0)
            {
                const FileLook look{random() % 5 > 0, random() % 3000, Time(std::int64_t(round))};
                m_table.Take(random() % m_table.RowCount(), look, m_counts);
            }
        }

        const auto &list = m_files.get<_FileInfoList::list>();
        const std::vector<_FileInfo> rows(list.begin(), list.end());
        std::set<Path> bad;
        for (std::size_t row = 0; row < rows.size(); ++row)
        {
            const ScanRules &rules = m_table.Rules();
            const FrameState expected =
                VerdictByDistance(rows, row, rules.minSize, rules.frameOffset, quarters);
            ASSERT_EQ(m_table.Classify(std::int64_t(row)), expected)
                << "round " << round << ", row " << row;
            if (expected != FrameState::Ok)
                bad.insert(rows[row].name);
        }
        ASSERT_EQ(m_table.FindBadPaths(), bad) << "round " << round;
    }
    EXPECT_GT(frames, 200);
}
