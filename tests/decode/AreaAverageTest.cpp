#include "decode/AreaAverage.h"

#include <cmath>
#include <limits>
#include <random>

#include <gtest/gtest.h>

using namespace decode;

namespace
{

using Rows = std::vector<std::vector<float>>; // Four values a pixel.

AreaAverage Shrunk(const Rows &rows, int newWidth, int newHeight)
{
    AreaAverage average(int(rows.front().size() / 4), int(rows.size()), newWidth, newHeight);
    for (std::size_t y = 0; y < rows.size(); ++y)
        average.AddRow(int(y), rows[y].data());
    return average;
}

// How much of [a, b) lies in [c, d).
double Overlap(double a, double b, double c, double d)
{
    return std::max(0.0, std::min(b, d) - std::max(a, c));
}

} // namespace

TEST(AreaAverage, GivesEachPixelTheMeanOfTheAreaThatItCovers)
{
    std::mt19937 random(7);
    std::uniform_real_distribution<float> value(-1.0f, 4.0f);
    const struct
    {
        int width, height, newWidth, newHeight;
    } cases[] = {{8, 4, 4, 2}, {7, 5, 3, 2}, {5, 7, 5, 7}, {9, 1, 1, 1}, {31, 17, 30, 16}};
    for (const auto &[width, height, newWidth, newHeight] : cases)
    {
        Rows rows(std::size_t(height), std::vector<float>(std::size_t(width) * 4));
        for (std::vector<float> &row : rows)
            for (float &one : row)
                one = value(random);
        const AreaAverage average = Shrunk(rows, newWidth, newHeight);
        const double across = double(width) / newWidth;
        const double down = double(height) / newHeight;
        for (int newY = 0; newY < newHeight; ++newY)
            for (int i = 0; i < newWidth * 4; ++i)
            {
                double sum = 0;
                for (int y = 0; y < height; ++y)
                    for (int x = 0; x < width; ++x)
                        sum += double(rows[std::size_t(y)][std::size_t(x * 4 + i % 4)]) *
                               Overlap(x, x + 1, i / 4 * across, (i / 4 + 1) * across) *
                               Overlap(y, y + 1, newY * down, (newY + 1) * down);
                ASSERT_NEAR(average.Pixels().at(std::size_t(newY * newWidth * 4 + i)),
                            sum / (across * down), 1e-4)
                    << width << " x " << height;
            }
    }
}

TEST(AreaAverage, TakesARowThatIsNotThereForDark)
{
    AreaAverage average(2, 4, 1, 2);
    const std::vector<float> row(8, 1.0f);
    average.AddRow(1, row.data());
    EXPECT_FLOAT_EQ(average.Pixels().at(0), 0.5f);
    EXPECT_FLOAT_EQ(average.Pixels().at(4), 0.0f);
}

TEST(AreaAverage, RemembersWhereAValueIsNoFiniteNumber)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    Rows rows(3, std::vector<float>(4 * 4, 1.0f));
    rows[1][4 + 2] = nan;
    // Rows 0 to 1.5 and 1.5 to 3: the row in the middle is in both.
    const AreaAverage average = Shrunk(rows, 2, 2);
    EXPECT_TRUE(average.IsWild(0));
    EXPECT_FALSE(average.IsWild(1));
    EXPECT_TRUE(average.IsWild(2));
    EXPECT_FALSE(average.IsWild(3));
    EXPECT_FLOAT_EQ(average.Pixels().at(0), 1.0f);
    EXPECT_NEAR(average.Pixels().at(2), 1.0f - 0.5f / 3.0f, 1e-6) << "the wild one counts as 0";
    for (const float value : average.Pixels())
        EXPECT_TRUE(std::isfinite(value));
}
