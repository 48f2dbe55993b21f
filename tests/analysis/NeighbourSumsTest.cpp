#include "analysis/NeighbourSums.h"

#include <random>

#include <gtest/gtest.h>

using namespace analysis;

namespace
{

_FileInfo RandomRecord(std::mt19937_64 &random)
{
    _FileInfo file("a", 1);
    file.exists = random() % 4 > 0;
    file.size = random() % 3 == 0 ? random() : random() % 1000;
    return file;
}

Neighbours PlainSum(const std::vector<_FileInfo> &rows, std::size_t lo, std::size_t hi,
                    const ScanRules &rules)
{
    Neighbours sum;
    for (std::size_t row = lo; row < hi; ++row)
        sum += AsNeighbour(rows[row], rules);
    return sum;
}

} // namespace

TEST(NeighbourSums, EqualAPlainSumOfAnyRunAlsoWhileRowsChange)
{
    std::mt19937_64 random(3);
    const ScanRules rules;
    for (const std::size_t count : {1, 2, 3, 4, 31, 32, 33, 200})
    {
        std::vector<_FileInfo> rows;
        for (std::size_t row = 0; row < count; ++row)
            rows.push_back(RandomRecord(random));
        NeighbourSums sums;
        sums.Build(rows, rules);
        ASSERT_EQ(sums.Rows(), count);

        for (int change = 0; change < 50; ++change)
        {
            std::size_t lo = random() % (count + 1);
            std::size_t hi = random() % (count + 1);
            if (lo > hi)
                std::swap(lo, hi);
            const Neighbours expected = PlainSum(rows, lo, hi, rules);
            const Neighbours sum = sums.Sum(std::int64_t(lo), std::int64_t(hi));
            ASSERT_EQ(sum.sum, expected.sum) << count << ": " << lo << " to " << hi;
            ASSERT_EQ(sum.count, expected.count) << count << ": " << lo << " to " << hi;

            const std::size_t row = random() % count;
            const Neighbours before = AsNeighbour(rows[row], rules);
            rows[row] = RandomRecord(random);
            sums.Change(row, before, AsNeighbour(rows[row], rules));
        }
    }
}

TEST(NeighbourSums, HoldNoRowsBeforeTheyAreBuiltAndAfterTheyAreCleared)
{
    NeighbourSums sums;
    EXPECT_EQ(sums.Rows(), 0u);

    sums.Build(std::vector<_FileInfo>(3, _FileInfo("a", 1)), ScanRules());
    EXPECT_EQ(sums.Rows(), 3u);
    sums.Clear();
    EXPECT_EQ(sums.Rows(), 0u);
}
