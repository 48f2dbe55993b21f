// What the pages and the help say of the analysis options, against the table of them.

#include <fmt/format.h>

#include <gtest/gtest.h>

#include "cli/RunCorvan.h"
#include "corvan/AnalysisOptions.h"
#include "ostrel/File.h"

namespace cli
{
namespace
{

using corvan::AnalysisOption;

std::string Page(const char *name)
{
    return ostrel::File::ReadWhole(ostrel::Path(ORDWICK_SOURCE) / name);
}

/// The line of a page that has a text; empty where none has.
std::string LineWith(const std::string &page, const std::string &text)
{
    const std::size_t at = page.find(text);
    if (at == std::string::npos)
        return {};
    const std::size_t begin = page.rfind('\n', at) + 1;
    return page.substr(begin, page.find('\n', at) - begin);
}

TEST(AnalysisPages, TheGuideListsEachKeyWithItsDefault)
{
    const std::string guide = Page("docs/guide.md");
    for (const AnalysisOption &option : corvan::k_AnalysisOptions)
    {
        const std::string cells =
            fmt::format("| {} | {} | ", option.key, corvan::AnalysisText(option, {}));
        EXPECT_NE(guide.find(cells), std::string::npos) << cells;
    }
}

TEST(AnalysisPages, ThePageOfTheCheckTellsEachOptionWithItsDefault)
{
    const std::string page = Page("docs/check.md");
    for (const AnalysisOption &option : corvan::k_AnalysisOptions)
    {
        if (!*option.option)
            continue;
        const std::string line = LineWith(page, fmt::format("| `{} ", option.option));
        EXPECT_NE(line.find("(" + corvan::AnalysisText(option, {})), std::string::npos)
            << option.option << ": " << line;
    }
}

TEST(AnalysisPages, TheManualTellsEachOptionWithItsDefault)
{
    const std::string manual = Page("docs/man/corvan.1");
    for (const AnalysisOption &option : corvan::k_AnalysisOptions)
    {
        if (!*option.option)
            continue;
        std::string name;
        for (const char c : std::string(option.option))
            name += c == '-' ? "\\-" : std::string(1, c);
        const std::size_t at = manual.find(".BI " + name + " ");
        ASSERT_NE(at, std::string::npos) << name;
        const std::string entry = manual.substr(at, manual.find("\n.TP", at) - at);
        EXPECT_NE(entry.find("(" + corvan::AnalysisText(option, {}) + ")"), std::string::npos)
            << entry;
    }
}

TEST(AnalysisPages, EachVerbThatJudgesTakesEachOption)
{
    for (const char *verb : {"check", "requeue", "delete", "plot"})
    {
        testing::internal::CaptureStdout();
        RunCorvan({verb, "--help"});
        const std::string help = testing::internal::GetCapturedStdout();
        for (const AnalysisOption &option : corvan::k_AnalysisOptions)
            EXPECT_TRUE(!*option.option ||
                        help.find(fmt::format("\n  {} ", option.option)) != std::string::npos)
                << verb << " " << option.option;
    }
}

} // namespace
} // namespace cli
