#include "check/pictures/TileRectangle.h"

#include <random>

#include <gtest/gtest.h>

namespace check
{
namespace
{

// Each rectangle there is, one by one.
float GreatestSum(const std::vector<float> &values, int columns)
{
    const auto width = std::size_t(columns);
    const std::size_t rows = values.size() / width;
    float most = -1e9f;
    for (std::size_t top = 0; top < rows; ++top)
        for (std::size_t bottom = top; bottom < rows; ++bottom)
            for (std::size_t left = 0; left < width; ++left)
                for (std::size_t right = left; right < width; ++right)
                {
                    float sum = 0;
                    for (std::size_t row = top; row <= bottom; ++row)
                        for (std::size_t column = left; column <= right; ++column)
                            sum += values[row * width + column];
                    most = std::max(most, sum);
                }
    return most;
}

TEST(GreatestRectangle, HasTheGreatestSumOfAll)
{
    std::minstd_rand chance(7);
    for (const int columns : {1, 2, 5, 8})
        for (const std::size_t rows : {1u, 3u, 6u})
            for (int turn = 0; turn < 20; ++turn)
            {
                // Whole numbers: their sums are the same in any order.
                std::vector<float> values(rows * std::size_t(columns));
                for (float &value : values)
                    value = float(int(chance() % 15) - 8);
                const TileRectangle found = GreatestRectangle(values, columns);
                ASSERT_LT(found.bottom, rows);
                ASSERT_LT(found.right, std::size_t(columns));
                EXPECT_EQ(SumOf(values, columns, found), GreatestSum(values, columns));
            }
}

TEST(GreatestRectangle, LeavesOutWhatTakesAway)
{
    const std::vector<float> values = {-1, -1, -1, -1, //
                                       -1, 3,  2,  -9, //
                                       -1, 4,  0,  -1};
    const TileRectangle found = GreatestRectangle(values, 4);
    EXPECT_EQ(found.Tiles(4), (TileGroup{5, 6, 9, 10}));
    EXPECT_EQ(found.Area(), 4u);
    EXPECT_EQ(SumOf(values, 4, found), 9);
}

TEST(GreatestRectangle, WhereAllTakeAwayIsTheLeastOfThem)
{
    EXPECT_EQ(GreatestRectangle(std::vector<float>{-3, -1, -2}, 3).Tiles(3), TileGroup{1});
}

} // namespace
} // namespace check
