#include <gtest/gtest.h>

#include "check/PlotAxis.h"
#include "check/PlotPoints.h"
#include "check/PlotSvg.h"
#include "tests/check/SampleTable.h"

namespace check
{
namespace
{

std::size_t CountOf(const std::string &text, const std::string &part)
{
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++count;
    return count;
}

String Drawn(const CheckTable &table)
{
    return PlotSvg(table, analysis::ScanRules(), ReadPlotColours());
}

TEST(PlotAxis, PlacesNumbersAlongItsLength)
{
    const PlotAxis axis{10, 20, 100};
    EXPECT_EQ(axis.Place(10), 0);
    EXPECT_EQ(axis.Place(15), 50);
    EXPECT_EQ(axis.Place(99), 100);
    EXPECT_EQ(axis.Place(-5), 0);
}

TEST(PlotAxis, HasRoundNumbers)
{
    using Numbers = std::vector<double>;
    EXPECT_EQ(RoundNumbers({0, 10, 1}, 5, true), (Numbers{0, 2, 4, 6, 8, 10}));
    EXPECT_EQ(RoundNumbers({0.5, 3.5, 1}, 12, true), (Numbers{1, 2, 3}));
    EXPECT_EQ(RoundNumbers({-30, 75, 1}, 2, false), (Numbers{0}));
    EXPECT_EQ(RoundNumbers({0, 1.2, 1}, 3, false).size(), 3u);
}

TEST(PlotAxis, TellsSizesInTheUnitThatFits)
{
    EXPECT_STREQ(UnitFor(1023).name, "bytes");
    EXPECT_STREQ(UnitFor(1024).name, "KiB");
    EXPECT_STREQ(UnitFor(5e9).name, "GiB");
    EXPECT_EQ(NumberText(0.5), "0.5");
    EXPECT_EQ(NumberText(100000), "100000");
}

TEST(PlotPoints, StandInTheOrderOfTheirFramesWithTheBandOfTheirNeighbours)
{
    CheckTable table = SampleTable("/r/%d", {CheckState::Ok, CheckState::Missing, CheckState::Ok});
    std::swap(table.frames.front(), table.frames.back());
    const auto points =
        PlotPointsOf(table, {.minSize = 1, .frameOffset = 5, .sizeVariation = 0.5f});
    ASSERT_EQ(points.size(), 3u);
    EXPECT_TRUE(points[0].frame < points[1].frame && points[1].frame < points[2].frame);
    EXPECT_TRUE(points[0].hasBand);
    EXPECT_EQ(points[0].lowest, points[2].size / 2);
    EXPECT_EQ(points[0].highest, points[2].size * 1.5);
    EXPECT_FALSE(points[1].exists);
    // The lower end of such a band wraps.
    EXPECT_FALSE(PlotPointsOf(table, {.minSize = 1, .sizeVariation = 2.0f}).front().hasBand);
    EXPECT_FALSE(PlotPointsOf(table, {.minSize = 1, .frameOffset = 0}).front().hasBand);
}

TEST(PlotPoints, HaveTheBandOfTheirTablesRule)
{
    CheckTable table = SampleTable("/r/%d", std::vector<CheckState>(5, CheckState::Ok));
    for (analysis::FrameRecord &frame : table.frames)
        frame.size = frame.frame == 3 ? 9000 : 1000;
    const auto byMean = PlotPointsOf(table, {.minSize = 1});
    table.sizeRule = corvan::SizeRule::Robust;
    const auto byMedian = PlotPointsOf(table, {.minSize = 1});
    EXPECT_GT(byMean[0].lowest, 1000);
    EXPECT_LT(byMedian[0].lowest, 1000);
    EXPECT_LT(byMedian[2].highest, 1200);
    EXPECT_FALSE(PlotPointsOf(table, {.minSize = 1, .frameOffset = 0}).front().hasBand);
}

TEST(PlotPoints, OfManyFramesShareColumns)
{
    const std::vector<PlotPoint> points = {
        {.frame = 0, .exists = true, .size = 30, .hasBand = true, .lowest = 10, .highest = 40},
        {.frame = 1, .exists = true, .size = 20, .hasBand = true, .lowest = 20, .highest = 60},
        {.frame = 2, .exists = true, .size = 5, .state = CheckState::TooSmall},
        {.frame = 9, .exists = true, .size = 7},
    };
    const auto columns = PlotColumnsOf(points, {0, 10, 3});
    ASSERT_EQ(columns.size(), 4u);
    EXPECT_EQ(columns[0].count, 2);
    EXPECT_EQ(columns[0].least, 20);
    EXPECT_EQ(columns[0].most, 30);
    EXPECT_EQ(columns[0].bands, 2);
    EXPECT_EQ(columns[0].lowest, 30);
    EXPECT_EQ(columns[0].highest, 100);
    EXPECT_EQ(columns[1].count, 0);
    EXPECT_EQ(columns[2].least, 7);
    EXPECT_EQ(columns[2].bands, 0);
}

TEST(PlotSvg, DrawsAMarkForEachOfFewFrames)
{
    const CheckTable table =
        SampleTable("/r/<&>%d", {CheckState::Ok, CheckState::Missing, CheckState::TooSmall,
                                 CheckState::Outlier, CheckState::Ok});
    const String svg = Drawn(table);
    const PlotColours colours = ReadPlotColours();
    // One more of each stands in the legend.
    EXPECT_EQ(CountOf(svg, "fill=\"" + colours.at("ListFocus") + "\"/>"), 3u);
    EXPECT_EQ(CountOf(svg, "fill=\"" + colours.at("TextRed") + "\"/>"), 2u);
    EXPECT_EQ(CountOf(svg, "fill=\"" + colours.at("TextOrange") + "\"/>"), 2u);
    EXPECT_EQ(CountOf(svg, "stroke=\"" + colours.at("TextGrey") + "\""), 2u);
    EXPECT_NE(svg.find("/r/&lt;&amp;&gt;%d"), String::npos);
    EXPECT_NE(svg.find(">2 ok<"), String::npos);
    EXPECT_NE(svg.find(">frame<"), String::npos);
    EXPECT_NE(svg.find(">size in KiB<"), String::npos);
}

TEST(PlotSvg, DrawsWhatOnlyPicturesShowAsRings)
{
    const String orange = ReadPlotColours().at("TextOrange");
    const String disk = "fill=\"" + orange + "\"/>";
    const String ring = "stroke=\"" + orange + "\" stroke-width=\"2\"/>";
    for (const CheckState state : k_CheckStates)
    {
        const String svg = Drawn(SampleTable("/r/%d", {CheckState::Ok, state, CheckState::Ok}));
        const bool isOfPicture = state >= CheckState::Duplicate && state <= CheckState::Sparks;
        // One in the field, one in the legend.
        EXPECT_EQ(CountOf(svg, ring), isOfPicture ? 2u : 0u) << StateText(state);
        EXPECT_TRUE(!isOfPicture || CountOf(svg, disk) == 0) << StateText(state);
        String word = std::string(StateText(state));
        std::ranges::replace(word, '-', ' ');
        EXPECT_NE(svg.find(" " + word + "<"), String::npos);
    }
}

TEST(PlotSvg, HasALegendOfAsManyLinesAsItNeeds)
{
    std::vector<CheckState> states;
    for (const CheckState state : k_CheckStates)
        states.insert(states.end(), 100, state);
    const String all = Drawn(SampleTable("/r/%d", states));
    const String few = Drawn(SampleTable("/r/%d", {CheckState::Ok, CheckState::Pop}));
    const String first = "y=\"54.5\"";
    const String second = "y=\"74.5\"";
    EXPECT_EQ(CountOf(few, first), 3u);
    EXPECT_EQ(CountOf(few, second), 0u);
    EXPECT_GT(CountOf(all, first), 5u);
    EXPECT_GT(CountOf(all, second), 0u);
    EXPECT_EQ(CountOf(all, first) + CountOf(all, second), k_CheckStates.size() + 1);
    // The field begins below it.
    EXPECT_NE(few.find("<path d=\"M90 76V"), String::npos);
    EXPECT_NE(all.find("<path d=\"M90 96V"), String::npos);
}

TEST(PlotSvg, StaysSmallOfManyFrames)
{
    std::vector<CheckState> states(100'000, CheckState::Ok);
    for (std::size_t row = 0; row < states.size(); row += 2)
        states[row] = CheckState::Missing;
    const String svg = Drawn(SampleTable("/r/%d", states));
    EXPECT_LT(svg.size(), 300'000u);
    EXPECT_NE(svg.find(">50000 missing<"), String::npos);
}

TEST(PlotSvg, DrawsTablesWithoutFilesToo)
{
    EXPECT_NE(Drawn(SampleTable("/r/%d", {})).find("</svg>"), String::npos);
    EXPECT_EQ(Drawn(SampleTable("/r/%d", {CheckState::Missing})).find("nan"), String::npos);
}

} // namespace
} // namespace check
