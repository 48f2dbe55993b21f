#include "analysis/RobustRule.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "tests/analysis/RobustScoreBySorting.h"

namespace analysis
{
namespace
{

/// A letter a row: . fine, m missing, s too small, o outlier.
std::string RobustVerdicts(const FileSizes &sizes, const ScanRules &rules)
{
    const auto frames = RecordsOf(sizes);
    std::string verdicts;
    for (const FrameRecord &frame : frames)
        verdicts += ".mso"[int(JudgeAlone(frame, rules))];
    for (const std::size_t row : FindRobustOutliers(frames, rules))
        verdicts[row] = 'o';
    return verdicts;
}

/// So many of one size, one after the other.
FileSizes Shots(const std::vector<std::pair<std::size_t, std::uint64_t>> &shots)
{
    FileSizes sizes;
    for (const auto &[count, size] : shots)
        sizes.insert(sizes.end(), count, size);
    return sizes;
}

TEST(RobustRule, AccusesTheBadFrameAndNoOther)
{
    constexpr auto m = k_absent;
    const struct
    {
        const char *what;
        FileSizes sizes;
        int offset;
        float variation;
        const char *verdicts;
    } cases[] = {
        {"no rows", {}, 5, 0.15f, ""},
        {"one row", {1000}, 5, 0.15f, "."},
        {"of two nobody knows which", {1000, 9000}, 5, 0.15f, ".."},
        {"one of three", {1000, 9000, 1010}, 5, 0.15f, ".o."},
        {"the first", {9000, 1000, 1000, 1010}, 5, 0.15f, "o..."},
        {"the last", {1000, 1000, 1010, 9000}, 5, 0.15f, "...o"},
        {"the one beside the first", {1000, 9000, 1000, 1000, 1000}, 5, 0.15f, ".o..."},
        {"cut to a tenth", Shots({{8, 100'000}, {1, 10'000}, {8, 100'000}}), 5, 0.15f,
         "........o........"},
        {"two that are bad alike", Shots({{8, 100'000}, {2, 10'000}, {8, 100'000}}), 5, 0.15f,
         "........oo........"},
        {"some of one size accuse no byte",
         {1000, 1000, 1001, 1000, 1000, 1000},
         5,
         0.15f,
         "......"},
        {"what may differ in any case, up", {1000, 1000, 1145, 1000, 1000}, 2, 0.15f, "....."},
        {"and beyond it", {1000, 1000, 1160, 1000, 1000}, 2, 0.15f, "..o.."},
        {"and down, by the same factor", {1000, 1000, 875, 1000, 1000}, 2, 0.15f, "....."},
        {"and beyond it, too", {1000, 1000, 860, 1000, 1000}, 2, 0.15f, "..o.."},
        {"no variation lets a step pass", {1000, 1000, 1001, 1000, 1100, 1000}, 2, 0.0f, "....o."},
        {"sizes that are far from each other anyway",
         {1000, 3000, 1500, 2500, 1200, 2000},
         5,
         0.15f,
         "......"},
        {"missing rows do not count", {1000, m, 1000, m, 1000, 9000, 1000}, 5, 0.15f, ".m.m.o."},
        {"missing rows are not near the largest one",
         Shots({{8, 1000}, {3, m}, {1, k_absent - 1}, {3, m}, {8, 1000}}), 5, 0.15f,
         "........mmmommm........"},
        {"small rows do not count", {1000, 10, 1000, 10, 1000, 9000, 1000}, 5, 0.15f, ".s.s.o."},
        {"a cut", Shots({{7, 1000}, {7, 4000}}), 5, 0.15f, ".............."},
        {"a cut to the last two", Shots({{9, 1000}, {2, 4000}}), 5, 0.15f, "..........."},
        {"a cut behind the first two", Shots({{2, 1000}, {9, 4000}}), 5, 0.15f, "..........."},
        {"a shot of three", Shots({{7, 1000}, {3, 4000}, {7, 2000}}), 2, 0.15f,
         "................."},
        {"a fade to black, whose frames shrink faster and faster",
         {9000, 9000, 9000, 9000, 9000, 8000, 6000, 3000, 1200, 600, 510, 510, 510, 510, 510},
         5,
         0.15f,
         "..............."},
        {"one that ends with the range",
         {9000, 9000, 9000, 9000, 9000, 8000, 6000, 3000, 600},
         5,
         0.15f,
         "........."},
        {"one that begins it",
         {600, 3000, 6000, 8000, 9000, 9000, 9000, 9000, 9000},
         5,
         0.15f,
         "........."},
        {"a bad one within a fade",
         {9000, 8000, 7000, 6000, 600, 4000, 3000, 2000, 1500, 1000},
         3,
         0.15f,
         "....o....."},
        {"offset 0", {1000, 9000, 1000}, 0, 0.15f, "..."},
        {"negative offset", {1000, 9000, 1000, m, 1}, -3, 0.15f, "...ms"},
        {"lowest offset", {1000, 9000, 1000}, INT_MIN, 0.15f, "..."},
        {"highest offset", {1000, 1000, 9000, 1000}, INT_MAX, 0.15f, "..o."},
        {"any variation", {1000, 1000, k_absent - 1, 1000}, 5, INFINITY, "...."},
        {"no number for a variation is none", {1000, 1000, 1100, 1000}, 5, NAN, "..o."},
        {"the largest files", {k_absent - 1, k_absent - 1, 1000, k_absent - 1}, 5, 0.15f, "..o."},
    };
    for (const auto &[what, sizes, offset, variation, verdicts] : cases)
        EXPECT_EQ(RobustVerdicts(sizes, {500, offset, variation}), verdicts) << what;
}

TEST(RobustRule, LetsNoBadFrameAccuseItsNeighbours)
{
    FileSizes sizes(24, 100'000);
    sizes[2] = 1000;
    sizes[3] = 103'000;
    EXPECT_EQ(RobustVerdicts(sizes, ScanRules()), "..o.....................");
    std::string byTheMean;
    JudgeAll(RecordsOf(sizes), ScanRules(),
             [&](std::size_t, FrameState state) { byTheMean += ".mso"[int(state)]; });
    EXPECT_EQ(byTheMean, "oooo....................");
}

TEST(RobustRule, TakesEmptyFilesWhereTheyMayBe)
{
    EXPECT_EQ(RobustVerdicts({0, 0, 0, 0}, {0, 5, 0.15f}), "....");
    EXPECT_EQ(RobustVerdicts({0, 0, 1000, 0}, {0, 5, 0.15f}), "..o.");
}

TEST(RobustRule, KnowsSizesToHalfAStep)
{
    std::mt19937_64 random(3);
    unsigned before = 0;
    for (int bits = 0; bits < 64; ++bits)
        for (int i = 0; i < 50; ++i)
        {
            const std::uint64_t size = (1ull << bits) + random() % (1ull << bits);
            const double exact = std::log2((long double)size) * k_LevelsPerOctave;
            EXPECT_LE(std::abs(LevelOf(size) - std::min(exact, 16383.0)), 0.5001) << size;
        }
    for (std::uint64_t size = 0; size < 20'000; before = LevelOf(size++))
        ASSERT_LE(before, LevelOf(size)) << size;
    EXPECT_EQ(LevelOf(0), 0u);
    EXPECT_EQ(LevelOf(k_absent), 16383u);
}

class RandomRows
{
public:
    explicit RandomRows(unsigned seed) : m_random(seed) {}

    FileSizes Next()
    {
        FileSizes sizes(m_random() % 60);
        const unsigned spread = 1u << (m_random() % 16);
        for (std::uint64_t &size : sizes)
        {
            const std::uint64_t choice = m_random() % 20;
            size = choice == 0   ? k_absent
                   : choice == 1 ? m_random() % (1ull << (m_random() % 64))
                   : choice == 2 ? m_random() % 600
                                 : 10'000 + m_random() % spread;
        }
        return sizes;
    }
    ScanRules Rules()
    {
        const int offsets[] = {0, 1, 2, 5, 20, 1000, INT_MAX};
        const float variations[] = {0, 0.01f, 0.15f, 0.5f, 3.0f};
        return {m_random() % 2 ? 500u : 0u, offsets[m_random() % std::size(offsets)],
                variations[m_random() % std::size(variations)]};
    }

private:
    std::mt19937_64 m_random;
};

TEST(RobustRule, ScoresRandomRowsAsSortingDoes)
{
    RandomRows rows(12);
    std::size_t outliers = 0;
    for (int round = 0; round < 3000; ++round)
    {
        const auto frames = RecordsOf(rows.Next());
        const ScanRules rules = rows.Rules();
        std::vector<std::size_t> expected;
        std::size_t next = 0;
        VisitRobustBands(
            frames, rules,
            [&](std::size_t row, const std::optional<RobustBand> &band)
            {
                ASSERT_EQ(row, next++);
                const auto score = PlainScore(frames, row, rules);
                ASSERT_EQ(band.has_value(), score.has_value()) << round << ", row " << row;
                if (!band)
                    return;
                ASSERT_NEAR(band->score, *score, 1e-6) << round << ", row " << row;
                const std::uint64_t size = frames[row].size;
                ASSERT_EQ(*score > 3, size < band->sizes.lowest || size > band->sizes.highest)
                    << round << ", row " << row << ": " << size << " of " << band->sizes.lowest
                    << " to " << band->sizes.highest;
                if (*score > 3)
                    expected.push_back(row);
            });
        ASSERT_EQ(next, frames.size());
        ASSERT_EQ(FindRobustOutliers(frames, rules), expected) << round;
        outliers += expected.size();
    }
    EXPECT_GT(outliers, 1000u);
}

TEST(RobustRule, TellsTheBandOfOneRowAsThatOfAll)
{
    RandomRows rows(5);
    for (int round = 0; round < 100; ++round)
    {
        const auto frames = RecordsOf(rows.Next());
        const ScanRules rules = rows.Rules();
        VisitRobustBands(frames, rules,
                         [&](std::size_t row, const std::optional<RobustBand> &band)
                         {
                             const auto one = RobustBandAround(frames, rules, row);
                             ASSERT_EQ(one.has_value(), band.has_value());
                             if (!band)
                                 return;
                             EXPECT_EQ(one->score, band->score);
                             EXPECT_EQ(one->sizes.lowest, band->sizes.lowest);
                             EXPECT_EQ(one->sizes.highest, band->sizes.highest);
                         });
    }
}

TEST(RobustRule, FollowsManyRowsOfAnySpread)
{
    // Far more rows than levels that they are at, and the other way round.
    std::mt19937_64 random(8);
    for (const unsigned bits : {4u, 14u, 40u})
    {
        FileSizes sizes(5000);
        for (std::uint64_t &size : sizes)
            size = 1000 + random() % (1ull << bits);
        const auto frames = RecordsOf(sizes);
        const ScanRules rules{500, 700, 0.02f};
        const auto found = FindRobustOutliers(frames, rules);
        for (std::size_t row = 0; row < frames.size(); row += 97)
            EXPECT_EQ(std::ranges::binary_search(found, row), *PlainScore(frames, row, rules) > 3)
                << bits << " bits, row " << row;
    }
}

} // namespace
} // namespace analysis
