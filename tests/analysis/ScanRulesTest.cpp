#include "analysis/ScanRules.h"

#include <climits>
#include <random>

#include <gtest/gtest.h>

#include "tests/support/LogCapture.h"

#include "VerdictByDistance.h"

using namespace analysis;

namespace
{

constexpr std::uint64_t k_most = std::numeric_limits<std::uint64_t>::max();
constexpr std::uint64_t k_half = 1ull << 63;
constexpr std::uint64_t k_missing = k_most - 1;

_FileInfo Record(int frame, std::uint64_t size)
{
    _FileInfo file("f" + std::to_string(frame), frame);
    file.exists = size != k_missing;
    file.size = file.exists ? size : 0;
    return file;
}

std::vector<_FileInfo> Rows(const std::vector<std::uint64_t> &sizes)
{
    std::vector<_FileInfo> rows;
    for (const std::uint64_t size : sizes)
        rows.push_back(Record(int(rows.size()) + 1, size));
    return rows;
}

/// A letter a row: . fine, m missing, s too small, o outlier.
std::string Verdicts(const std::vector<_FileInfo> &rows, const ScanRules &rules)
{
    std::string verdicts;
    ClassifyAll(rows, rules,
                [&verdicts](const _FileInfo &, FrameState state)
                { verdicts += ".mso"[int(state)]; });
    return verdicts;
}

} // namespace

TEST(ScanRules, HaveTheVariationOfTheSettingsAsAFraction)
{
    const ScanRules rules = RulesOf({.minSize = 7, .frameOffset = 8, .sizeVariationPercent = 25});
    EXPECT_EQ(rules, (ScanRules{7, 8, 0.25f}));
    EXPECT_EQ(RulesOf({}), ScanRules());
}

TEST(ScanRules, JudgeByTheNeighbours)
{
    constexpr auto m = k_missing;
    const struct
    {
        const char *what;
        std::vector<std::uint64_t> sizes;
        unsigned minSize;
        int frameOffset;
        float sizeVariation;
        const char *verdicts;
    } cases[] = {
        {"no rows", {}, 500, 5, 0.15f, ""},
        {"one row, fine", {1000}, 500, 5, 0.15f, "."},
        {"one row, missing", {m}, 500, 5, 0.15f, "m"},
        {"one row, too small", {499}, 500, 5, 0.15f, "s"},
        {"one row, just large enough", {500}, 500, 5, 0.15f, "."},
        {"equal rows", {1000, 1000, 1000}, 500, 5, 0.15f, "..."},
        {"one far smaller", {1000, 600, 1000, 1000, 1000}, 500, 5, 0.15f, ".o..."},
        {"one lifts all means", {1000, 1000, 9000, 1000, 1000}, 500, 5, 0.15f, "ooooo"},
        {"rows within the offset", {1000, 1000, 1000, 9000}, 500, 1, 0.15f, "..oo"},
        {"lower end included", {1000, 1000, 850, 1000, 1000}, 500, 2, 0.15f, "....."},
        {"below the lower end", {1000, 1000, 849, 1000, 1000}, 500, 2, 0.15f, "..o.."},
        {"upper end included", {1000, 1000, 1150, 1000, 1000}, 500, 2, 0.15f, "....."},
        {"above the upper end", {1000, 1000, 1151, 1000, 1000}, 500, 2, 0.15f, "..o.."},
        {"missing rows do not count", {1000, m, 1000, m, 1000}, 500, 5, 0.15f, ".m.m."},
        {"small rows do not count", {1000, 10, 1000, 10, 1000}, 500, 5, 0.15f, ".s.s."},
        {"bad neighbours alone", {m, 100000, 10}, 500, 5, 0.15f, "m.s"},
        {"offset 0", {1000, 9000, 1000}, 500, 0, 0.15f, "..."},
        {"negative offset", {1000, 9000, 1000, m, 1}, 500, -3, 0.15f, "...ms"},
        {"lowest offset", {1000, 9000}, 500, INT_MIN, 0.15f, ".."},
        {"highest offset", {1000, 600, 1000, 1000, 1000}, 500, INT_MAX, 0.15f, ".o..."},
        {"variation above 1 wraps", {1000, 1000, m, 10, 1000}, 500, 1, 1.5f, "ooms."},
        {"variation of 1 does not", {1000, 2000, 1000}, 500, 1, 1.0f, "..."},
        {"no variation", {1000, 1000, 1001, 1000}, 500, 1, 0.0f, "..oo"},
        {"negative variation is none", {1000, 1000, 1001, 1000}, 500, 1, -0.5f, "..oo"},
        {"product beyond 64 bits", {k_most, k_most}, 500, 1, 1000.0f, "oo"},
        {"infinite product", {k_most, k_most}, 500, 1, 3e38f, "oo"},
        {"empty files as neighbours", {0, 0, 1000}, 0, 5, 0.15f, "ooo"},
        {"empty files among themselves", {0, 0, 0}, 0, 5, 0.15f, "..."},
        {"sum wraps", {k_half + 1000, 1000, k_half + 1000}, 500, 1, 0.15f, "o.o"},
        {"mean is rounded down", {1000, 1001, 1000}, 500, 2, 0.0f, ".o."},
    };

    for (const auto &[what, sizes, minSize, frameOffset, sizeVariation, verdicts] : cases)
        EXPECT_EQ(Verdicts(Rows(sizes), {minSize, frameOffset, sizeVariation}), verdicts) << what;
}

TEST(ScanRules, TruncateTheToleranceAfterASinglePrecisionProduct)
{
    // 16777219 has no single-precision form; the product is 16777220 x 0.5.
    EXPECT_EQ(Judge(Record(1, 16777219 - 8388610), {16777219, 1}, {500, 5, 0.5f}), FrameState::Ok);
    EXPECT_EQ(Judge(Record(1, 16777219 - 8388611), {16777219, 1}, {500, 5, 0.5f}),
              FrameState::Outlier);
    // 1005 x 0.15 is 150.75, kept as 150.
    EXPECT_EQ(Judge(Record(1, 1005 + 150), {1005, 1}, {500, 5, 0.15f}), FrameState::Ok);
    EXPECT_EQ(Judge(Record(1, 1005 + 151), {1005, 1}, {500, 5, 0.15f}), FrameState::Outlier);
}

TEST(ScanRules, JudgeRandomTablesAsWholeNumbersDo)
{
    std::mt19937_64 random(11);
    for (int round = 0; round < 2000; ++round)
    {
        std::vector<std::uint64_t> sizes(random() % 40);
        for (std::uint64_t &size : sizes)
        {
            const std::uint64_t choice = random() % 20;
            size = choice == 0   ? k_missing
                   : choice == 1 ? random() % 1'000'000
                   : choice == 2 ? random() % 600
                                 : 900 + random() % 200;
        }
        const int offsets[] = {0, 1, 2, 5, 39, 1000, INT_MAX};
        const int quarters = int(random() % 5);
        const ScanRules rules{random() % 2 ? 500u : unsigned(random() % 2000),
                              offsets[random() % std::size(offsets)], float(quarters) / 4};

        const auto rows = Rows(sizes);
        std::size_t row = 0;
        ClassifyAll(rows, rules,
                    [&](const _FileInfo &, FrameState state)
                    {
                        ASSERT_EQ(state, VerdictByDistance(rows, row, rules.minSize,
                                                           rules.frameOffset, quarters))
                            << "round " << round << ", row " << row;
                        ++row;
                    });
        ASSERT_EQ(row, rows.size());
    }
}

TEST(ScanRules, LogALineForEachBadRowEveryTime)
{
    const auto rows = Rows({1000, k_missing, 10, 9000, 1000});
    const std::vector<std::string> expected = {"f1 bad: Neighbors", "f2 bad: Missing",
                                               "f3 bad: MinSize", "f4 bad: Neighbors",
                                               "f5 bad: Neighbors"};
    LogCapture log;

    for (int time = 1; time <= 2; ++time)
    {
        Verdicts(rows, ScanRules());
        EXPECT_EQ(log.Texts(ostrel::k_LogInfo), expected) << "time " << time;
        log.Clear();
    }
}

TEST(ScanRules, LogNothingOfGoodRows)
{
    LogCapture log;
    Verdicts(Rows({1000, 1000}), ScanRules());
    EXPECT_TRUE(log.Lines().empty());
}
