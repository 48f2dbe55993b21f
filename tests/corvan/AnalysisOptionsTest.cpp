#include "corvan/AnalysisOptions.h"

#include <gtest/gtest.h>

#include "ostrel/IniFile.h"
#include "tests/support/LogCapture.h"

using namespace corvan;

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

TEST(AnalysisOptions, AreShownAsPeopleWriteThem)
{
    const struct
    {
        AnalysisOptions options;
        const char *texts;
    } cases[] = {
        {{}, "500 5 15 5000 Yes"},
        {{4294967295u, -3, 12.5f, -1, false}, "4294967295 -3 12.5 -1 No"},
        {{0, 0, 0.1f, 0, true}, "0 0 0.1 0 Yes"},
    };
    for (const auto &[options, texts] : cases)
    {
        std::string shown;
        for (const AnalysisOption &option : k_AnalysisOptions)
            shown += (shown.empty() ? "" : " ") + AnalysisText(option, options);
        EXPECT_EQ(shown, texts);
    }
}

TEST(AnalysisOptions, HaveDefaultsThatACommandWouldTake)
{
    for (const AnalysisOption &option : k_AnalysisOptions)
    {
        if (!*option.option)
            continue;
        const double number = std::stod(AnalysisText(option, {}));
        EXPECT_LE(option.least, number) << option.key;
        EXPECT_GE(option.most, number) << option.key;
    }
}
