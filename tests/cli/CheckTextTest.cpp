#include "cli/CheckText.h"

#include <algorithm>
#include <cstdlib>

#include <gtest/gtest.h>

#include "tests/check/SampleTable.h"

namespace cli
{
namespace
{

std::string Reported(const CheckTable &table, bool hasColours)
{
    char *text = nullptr;
    std::size_t size = 0;
    std::FILE *const stream = open_memstream(&text, &size);
    {
        Output out(stream);
        WriteReport(out, table, hasColours);
        out.Flush();
    }
    std::fclose(stream);
    std::string report(text, size);
    std::free(text);
    return report;
}

// What people read of each state: its word, and beneath it the frames.
TEST(CheckText, HasAWordAndALineForEachState)
{
    const std::pair<CheckState, const char *> cases[] = {
        {CheckState::Missing, "missing"},
        {CheckState::TooSmall, "too small"},
        {CheckState::Outlier, "outlier"},
        {CheckState::Undecodable, "undecodable"},
        {CheckState::OddImage, "odd image"},
        {CheckState::Blank, "blank"},
        {CheckState::Nan, "nan"},
        {CheckState::Duplicate, "duplicate"},
        {CheckState::Black, "black"},
        {CheckState::Patch, "patch"},
        {CheckState::Pop, "pop"},
        {CheckState::Sparks, "sparks"},
        {CheckState::Changed, "changed"},
    };
    ASSERT_EQ(std::size(cases) + 1, check::k_CheckStates.size());
    for (const auto &[state, word] : cases)
    {
        CheckTable table = check::SampleTable("/r/%d", {CheckState::Ok, state, CheckState::Ok});
        table.details[1] = "it is so";
        const std::string name =
            std::string(word) + std::string(11 - std::string(word).size(), ' ');
        EXPECT_EQ(Reported(table, false), "3 files: 2 ok, 1 " + std::string(word) + "\n  " + name +
                                              "  2  /r/2: it is so\n");
        EXPECT_NE(
            Reported(table, true).find("\x1b[" + std::string(ColourOf(state)).substr(2) + name),
            std::string::npos)
            << word;
        EXPECT_FALSE(ColourOf(state).empty()) << word;
    }
    EXPECT_TRUE(ColourOf(CheckState::Ok).empty());
}

TEST(CheckText, TellsWhatWasFoundOfSomeMoreFrames)
{
    CheckTable table = check::SampleTable("/r/%d", std::vector(9, CheckState::Pop));
    // Of the first nothing is known, and the rows are in no order of frames.
    for (const std::size_t row : {1, 3, 5})
        table.details[row] = "brighter\x1b by " + std::to_string(row);
    std::swap(table.frames[1], table.frames[5]);
    const std::string head = "9 files: 9 pop\n  pop          1-9  /r/1\n";
    const std::string three = "               2: brighter\\x1b by 5\n"
                              "               4: brighter\\x1b by 3\n"
                              "               6: brighter\\x1b by 1\n";
    EXPECT_EQ(Reported(table, false), head + three);

    for (const std::size_t row : {6, 7, 8})
        table.details[row] = "darker";
    EXPECT_EQ(Reported(table, false), head + three +
                                          "               7: darker\n"
                                          "               8: darker\n"
                                          "               and of 1 more, see --json\n");
    table.states[6] = CheckState::Ok;
    EXPECT_EQ(Reported(table, false), "9 files: 1 ok, 8 pop\n  pop          1-6,8,9  /r/1\n" +
                                          three +
                                          "               8: darker\n"
                                          "               9: darker\n");
}

TEST(CheckText, CountsTheStatesInOneLine)
{
    EXPECT_EQ(CountsLine(check::SampleTable("/r/%d", {CheckState::Sparks, CheckState::Duplicate,
                                                      CheckState::Ok, CheckState::Duplicate})),
              "4 files: 1 ok, 2 duplicate, 1 sparks");
}

} // namespace
} // namespace cli
