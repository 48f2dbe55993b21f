#include "decode/ColumnSums.h"

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include <gtest/gtest.h>

using namespace decode;

namespace
{

// Light from far below black to far above white; some pixels have none.
std::vector<float> RandomRow(std::mt19937 &random)
{
    std::uniform_real_distribution<float> stops(-14, 8);
    std::vector<float> row;
    for (int x = 0; x < ColumnSums::k_count + 2; ++x)
        row.push_back(random() % 5 == 0 ? 0.0f : std::exp2(stops(random)));
    return row;
}

// Both must give the same: which of them is used is the processor's matter.
using Add = bool (*)(ColumnSums &, std::span<const float *const>);
constexpr Add k_ways[] = {AddRows, AddRowsPlainly};

std::vector<const float *> PointersTo(std::span<const std::vector<float>> rows)
{
    std::vector<const float *> pointers;
    for (const std::vector<float> &row : rows)
        pointers.push_back(row.data());
    return pointers;
}

void AddPlainly(ColumnSums &plain, std::span<const float *const> rows)
{
    for (std::size_t y = 1; y + 1 < rows.size(); ++y)
        for (std::size_t x = 0; x < ColumnSums::k_count; ++x)
        {
            const float *const at = rows[y];
            const float here = at[x + 1];
            plain.light[x] += here;
            plain.greatest[x] = std::max(plain.greatest[x], here);
            plain.lit[x] += here > 1.0f / 1024;
            plain.detail[x] +=
                std::abs(4 * here - at[x] - at[x + 2] - rows[y - 1][x + 1] - rows[y + 1][x + 1]);
        }
}

void ExpectSums(const ColumnSums &sums, const ColumnSums &plain)
{
    EXPECT_EQ(sums.light, plain.light);
    EXPECT_EQ(sums.greatest, plain.greatest);
    EXPECT_EQ(sums.lit, plain.lit);
    EXPECT_EQ(sums.detail, plain.detail);
}

} // namespace

TEST(ColumnSums, AreThoseOfOnePixelAfterTheOtherToTheBit)
{
    std::mt19937 random(5);
    std::vector<std::vector<float>> rows;
    for (int row = 0; row < 502; ++row)
        rows.push_back(RandomRow(random));
    const std::vector<const float *> all = PointersTo(rows);
    ColumnSums plain;
    AddPlainly(plain, all);

    for (const Add add : k_ways)
        for (const std::size_t atOnce : {1, 2, 3, 4, 500})
        {
            SCOPED_TRACE(atOnce);
            ColumnSums sums;
            for (std::size_t y = 1; y <= 500; y += atOnce)
                add(sums, std::span(all).subspan(y - 1, std::min(atOnce, 501 - y) + 2));
            ExpectSums(sums, plain);
        }
}

TEST(ColumnSums, TellThatThereMayBeAPeakInAnyColumnOfAnyRow)
{
    for (const Add add : k_ways)
    {
        std::vector<std::vector<float>> rows(
            6, std::vector<float>(std::size_t(ColumnSums::k_count) + 2, 0.1f));
        ColumnSums sums;
        EXPECT_FALSE(add(sums, PointersTo(rows)));
        for (std::size_t y = 1; y <= 4; ++y)
            for (std::size_t x = 1; x <= ColumnSums::k_count; ++x)
            {
                rows[y][x] = 0.21f;
                EXPECT_TRUE(add(sums, PointersTo(rows))) << x << ", " << y;
                rows[y][x] = 0.19f;
                EXPECT_FALSE(add(sums, PointersTo(rows))) << x << ", " << y;
                rows[y][x] = 0.1f;
            }
    }
}
