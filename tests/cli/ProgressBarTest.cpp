#include "cli/ProgressBar.h"

#include <memory>

#include <gtest/gtest.h>

namespace cli
{
namespace
{

TEST(ProgressBar, FillsWithWhatIsOver)
{
    const std::string none(40, '-');
    const std::string half = std::string(20, '#') + std::string(20, '-');
    const std::string all(40, '#');
    const struct
    {
        TaskCounts counts;
        std::string text;
    } cases[] = {
        {{0, 0, 0}, "[" + none + "]     0/0"},
        {{60, 0, 0}, "[" + none + "]    0/60"},
        {{60, 30, 0}, "[" + half + "]   30/60"},
        {{60, 20, 10}, "[" + half + "] 20/60, 10 failed"},
        {{60, 60, 0}, "[" + all + "]   60/60"},
        {{2, 3, 0}, "[" + all + "]     3/2"},
        {{4000000000, 2000000000, 0}, "[" + half + "] 2000000000/4000000000"},
    };
    for (const auto &[counts, text] : cases)
        EXPECT_EQ(BarText(counts), text);
}

// What a bar writes for some counts, one after the other.
std::string Written(bool isTerminal, std::initializer_list<TaskCounts> news)
{
    const std::unique_ptr<std::FILE, decltype(&std::fclose)> file(std::tmpfile(), &std::fclose);
    ProgressBar bar(file.get(), isTerminal);
    for (const TaskCounts &counts : news)
        bar.Show(counts);
    bar.End();

    std::string text(std::size_t(std::ftell(file.get())), '\0');
    std::rewind(file.get());
    EXPECT_EQ(std::fread(text.data(), 1, text.size(), file.get()), text.size());
    return text;
}

TEST(ProgressBar, WritesOverItsLineOnATerminal)
{
    const TaskCounts one{4, 1, 0};
    const TaskCounts two{4, 2, 0};
    EXPECT_EQ(Written(true, {one, one, two}),
              "\r" + BarText(one) + "\x1b[K\r" + BarText(two) + "\x1b[K\n");
}

TEST(ProgressBar, WritesTheCountsAtEachTenthElsewhere)
{
    EXPECT_EQ(Written(false, {{100, 0, 0}, {100, 9, 0}, {100, 10, 0}, {100, 15, 0}, {100, 31, 0}}),
              "10/100\n31/100\n");
}

TEST(ProgressBar, ThatShowedNothingWritesNothing)
{
    EXPECT_EQ(Written(true, {}), "");
}

} // namespace
} // namespace cli
