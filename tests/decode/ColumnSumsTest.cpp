#include "decode/ColumnSums.h"

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

} // namespace

TEST(ColumnSums, AreThoseOfOneColumnAfterTheOtherToTheBit)
{
    std::mt19937 random(5);
    ColumnSums columns;
    ColumnSums plain;
    std::vector<float> above = RandomRow(random);
    std::vector<float> at = RandomRow(random);
    for (int row = 0; row < 500; ++row)
    {
        const std::vector<float> below = RandomRow(random);
        AddRow(columns, above.data(), at.data(), below.data());
        for (std::size_t x = 0; x < ColumnSums::k_count; ++x)
        {
            const float here = at[x + 1];
            plain.light[x] += here;
            plain.greatest[x] = std::max(plain.greatest[x], here);
            plain.lit[x] += here > 1.0f / 1024;
            plain.detail[x] += std::abs(4 * here - at[x] - at[x + 2] - above[x + 1] - below[x + 1]);
        }
        ASSERT_EQ(columns.light, plain.light) << row;
        ASSERT_EQ(columns.greatest, plain.greatest) << row;
        ASSERT_EQ(columns.lit, plain.lit) << row;
        ASSERT_EQ(columns.detail, plain.detail) << row;
        above = at;
        at = below;
    }
}

TEST(ColumnSums, TellThatThereMayBeAPeakInAnyColumn)
{
    const std::vector<float> flat(ColumnSums::k_count + 2, 0.1f);
    ColumnSums columns;
    EXPECT_FALSE(AddRow(columns, flat.data(), flat.data(), flat.data()));
    for (std::size_t x = 1; x <= ColumnSums::k_count; ++x)
    {
        std::vector<float> row = flat;
        row[x] = 0.21f;
        EXPECT_TRUE(AddRow(columns, flat.data(), row.data(), flat.data())) << x;
        row[x] = 0.19f;
        EXPECT_FALSE(AddRow(columns, flat.data(), row.data(), flat.data())) << x;
    }
}
