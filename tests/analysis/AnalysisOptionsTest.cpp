#include "analysis/AnalysisOptions.h"

#include <gtest/gtest.h>

#include "ostrel/IniFile.h"
#include "tests/support/LogCapture.h"

using namespace analysis;

namespace
{

AnalysisOptions Read(const char *text)
{
    ostrel::IniFile options;
    String error;
    EXPECT_TRUE(options.Parse(text, &error)) << error;
    return ReadAnalysisOptions(options);
}

} // namespace

TEST(AnalysisOptions, TakesTheDefaultsFromAnEmptyFile)
{
    const AnalysisOptions options = Read("");

    EXPECT_EQ(options.minSize, 500u);
    EXPECT_EQ(options.frameOffset, 5);
    EXPECT_EQ(options.sizeVariationPercent, 15.0f);
    EXPECT_EQ(options.refreshMs, 5000);
    EXPECT_TRUE(options.showProgress);
}

TEST(AnalysisOptions, ReadsEveryKey)
{
    const AnalysisOptions options = Read("[Analysis]\nMinSize = 4294967295\nFrameOffset = -3\n"
                                         "SizeVariation = 120.5\nRefresh = 100\n"
                                         "ShowProgress = No\n");

    EXPECT_EQ(options.minSize, 4294967295u);
    EXPECT_EQ(options.frameOffset, -3);
    EXPECT_EQ(options.sizeVariationPercent, 120.5f);
    EXPECT_EQ(options.refreshMs, 100);
    EXPECT_FALSE(options.showProgress);
}

TEST(AnalysisOptions, TakeTheirDefaultsWithAWarningForTextsThatDoNotConvert)
{
    LogCapture log(ostrel::k_LogWarning);
    const AnalysisOptions options = Read("[Analysis]\nMinSize = -1\nFrameOffset = many\n"
                                         "SizeVariation = nan\nRefresh = 1e99\n"
                                         "ShowProgress = perhaps\n");

    EXPECT_EQ(options.minSize, 500u);
    EXPECT_EQ(options.frameOffset, 5);
    EXPECT_EQ(options.sizeVariationPercent, 15.0f);
    EXPECT_EQ(options.refreshMs, 5000);
    EXPECT_TRUE(options.showProgress);
    for (const char *key : {"MinSize", "FrameOffset", "SizeVariation", "Refresh", "ShowProgress"})
        EXPECT_EQ(log.Count(ostrel::k_LogWarning, key), 1) << key;
}

TEST(AnalysisOptions, GiveTheVariationAsAFractionToTheRules)
{
    const ScanRules rules =
        Read("[Analysis]\nMinSize = 7\nFrameOffset = 8\nSizeVariation = 25\n").Rules();

    EXPECT_EQ(rules.minSize, 7u);
    EXPECT_EQ(rules.frameOffset, 8);
    EXPECT_EQ(rules.sizeVariation, 0.25f);
}

TEST(AnalysisOptions, GiveTheSameRulesByDefaultAsTheRulesHave)
{
    const ScanRules rules = AnalysisOptions().Rules();

    EXPECT_EQ(rules.minSize, ScanRules().minSize);
    EXPECT_EQ(rules.frameOffset, ScanRules().frameOffset);
    EXPECT_EQ(rules.sizeVariation, ScanRules().sizeVariation);
}
