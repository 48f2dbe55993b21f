// Windows are judged in different ways by their length and by what is in them. Whichever it is, the
// scores are those of sorting.

#include <random>
#include <string>

#include <gtest/gtest.h>

#include "tests/analysis/RobustScoreBySorting.h"

namespace analysis
{
namespace
{

/// A size of a row; nearly any, from one to the largest, for `wildest`.
using SizeOfRow = std::uint64_t (*)(std::size_t row, std::mt19937_64 &random);

struct Shape
{
    const char *name;
    SizeOfRow sizeOf;
};

double Share(std::mt19937_64 &random)
{
    return std::uniform_real_distribution<double>()(random);
}

constexpr Shape k_shapes[] = {
    {"constant", [](std::size_t, std::mt19937_64 &) { return std::uint64_t(1'000'000); }},
    {"calm, some bad", [](std::size_t, std::mt19937_64 &random)
     { return 1'000'000 / (random() % 50 == 0 ? 3 : 1) + random() % 20'000; }},
    {"about as far apart as may be",
     [](std::size_t, std::mt19937_64 &random) { return 1'000'000 + random() % 400'000; }},
    {"wild over some octaves", [](std::size_t, std::mt19937_64 &random)
     { return std::uint64_t(10'000 * std::exp2(10 * Share(random))); }},
    {"wildest",
     [](std::size_t, std::mt19937_64 &random)
     {
         return random() % 20 == 0 ? k_absent - 1 - random() % 2
                                   : std::uint64_t(std::exp2(63.9 * Share(random)));
     }},
    {"most near, some far away", [](std::size_t, std::mt19937_64 &random)
     { return std::uint64_t(1'000'000 * std::exp2(0.1 * std::tan(3 * Share(random) - 1.5))); }},
    {"two by turns", [](std::size_t row, std::mt19937_64 &)
     { return std::uint64_t(row % 2 ? 1'000'000 : 3'000'000); }},
    {"two at random", [](std::size_t, std::mt19937_64 &random)
     { return std::uint64_t(random() % 2 ? 1'000'000 : 3'000'000); }},
    {"ramps", [](std::size_t row, std::mt19937_64 &)
     { return std::uint64_t(100'000 * std::exp2(double(row % 300) / 40)); }},
    {"shots", [](std::size_t row, std::mt19937_64 &random)
     { return 1'000'000 * (1 + row / 90 * 7 % 5) + random() % 30'000; }},
};

/// One in twenty is missing, and sometimes many in a row are; the ends are there.
FileSizes SizesOf(const Shape &shape, std::size_t count, bool hasGaps, unsigned seed)
{
    std::mt19937_64 random(seed);
    FileSizes sizes(count);
    for (std::size_t row = 0; row < count; ++row)
        sizes[row] = shape.sizeOf(row, random);
    if (hasGaps)
        for (std::size_t row = 1; row + 1 < count; ++row)
            if (random() % 20 == 0 || row % 211 > 190)
                sizes[row] = k_absent;
    return sizes;
}

/// All rows by bands and by outliers, one in `step` by sorting.
std::size_t CompareWithSorting(const std::vector<FrameRecord> &frames, const ScanRules &rules,
                               std::size_t step)
{
    const auto outliers = FindRobustOutliers(frames, rules);
    std::vector<std::size_t> byScore;
    VisitRobustBands(frames, rules,
                     [&](std::size_t row, const std::optional<RobustBand> &band)
                     {
                         if (band && band->score > k_RobustLimit)
                             byScore.push_back(row);
                         if (row % step != 0 && row + 2 < frames.size())
                             return;
                         const auto score = PlainScore(frames, row, rules);
                         ASSERT_EQ(band.has_value(), score.has_value()) << "row " << row;
                         if (!band)
                             return;
                         EXPECT_NEAR(band->score, *score, 1e-6) << "row " << row;
                         EXPECT_EQ(std::ranges::binary_search(outliers, row), *score > 3)
                             << "row " << row << ", " << *score;
                     });
    EXPECT_EQ(outliers, byScore);
    return outliers.size();
}

TEST(RobustWindows, ScoreAsSortingDoesWhateverTheirLengthIs)
{
    std::size_t found = 0;
    for (const Shape &shape : k_shapes)
        for (const int offset : {0, 1, 2, 5, 16, 17, 24, 25, 100, 1000})
            for (const bool hasGaps : {false, true})
            {
                SCOPED_TRACE(std::string(shape.name) + ", offset " + std::to_string(offset) +
                             (hasGaps ? ", with gaps" : ""));
                const std::size_t count = offset < 100 ? 400 : 2400;
                const std::size_t step = offset < 100 ? 1 : offset < 1000 ? 17 : 61;
                const auto frames =
                    RecordsOf(SizesOf(shape, count, hasGaps, unsigned(offset) + hasGaps));
                found += CompareWithSorting(frames, {500, offset, 0.15f}, step);
                if (::testing::Test::HasFailure())
                    return;
            }
    EXPECT_GT(found, 2000u);
}

TEST(RobustWindows, ScoreFewRowsAsSortingDoes)
{
    for (const Shape &shape : k_shapes)
        for (std::size_t count = 0; count < 60; count += count < 8 ? 1 : 5)
            for (const int offset : {1, 5, 24, 25, 1000})
            {
                SCOPED_TRACE(std::string(shape.name) + ", " + std::to_string(count) +
                             " rows, offset " + std::to_string(offset));
                CompareWithSorting(RecordsOf(SizesOf(shape, count, true, unsigned(count))),
                                   {500, offset, 0.15f}, 1);
                if (::testing::Test::HasFailure())
                    return;
            }
}

} // namespace
} // namespace analysis
