#include "check/pictures/Spikes.h"

#include <algorithm>
#include <random>

#include <gtest/gtest.h>

namespace check
{
namespace
{

TEST(SpikeOf, IsHowFarAValueIsBeyondBothOthers)
{
    const struct
    {
        const char *name;
        float before, value, after, spike;
    } cases[] = {
        {"nothing", 1, 1, 1, 0},        {"above", 1, 4, 1, 3},     {"below", 1, -2, 1, 3},
        {"step", 1, 4, 4, 0},           {"step down", 4, 4, 1, 0}, {"ramp", 1, 2, 3, 0},
        {"from a step", 1, 4, 2, 1},    {"to a step", 2, 4, 1, 1}, {"below a step", 4, 1, 2.5f, 0},
        {"beyond the way", 0, 3, 2, 0}, {"all of it", 0, 3, 0, 3},
    };
    for (const auto &one : cases)
        EXPECT_FLOAT_EQ(SpikeOf(one.before, one.value, one.after), one.spike) << one.name;
}

// So many frames of one place, of these numbers; those below 0 are not known.
SpikeSeries SeriesOf(const std::vector<float> &values)
{
    SpikeSeries series(values.size(), 1);
    for (std::size_t frame = 0; frame < values.size(); ++frame)
        if (values[frame] >= 0)
            series.Set(frame, 0, values[frame]);
    return series;
}

// Frame 8 has 8 frames on each side.
TEST(UsualAt, IsTheHigherOfBothSidesSecondHighest)
{
    EXPECT_EQ(UsualAt(SeriesOf({0, 0, 0, 0, 0, 0, 0, 0, 9, 0, 0, 0, 0, 0, 0, 0, 0}), 8, 0), 0);
    EXPECT_EQ(UsualAt(SeriesOf({0, 7, 0, 0, 0, 0, 0, 0, 9, 0, 0, 0, 0, 6, 0, 0, 0}), 8, 0), 0)
        << "one on each side";
    EXPECT_EQ(UsualAt(SeriesOf({0, 7, 0, 0, 5, 0, 0, 0, 9, 0, 0, 0, 0, 6, 0, 0, 0}), 8, 0), 5);
    EXPECT_EQ(UsualAt(SeriesOf({0, 7, 0, 0, 5, 0, 0, 0, 9, 0, 8, 0, 0, 6, 0, 0, 0}), 8, 0), 6);
}

TEST(UsualAt, LooksEightFramesFar)
{
    EXPECT_EQ(UsualAt(SeriesOf({7, 7, 0, 0, 0, 0, 0, 0, 0, 9, 0, 0, 0, 0}), 9, 0), 0);
    EXPECT_EQ(UsualAt(SeriesOf({0, 7, 7, 0, 0, 0, 0, 0, 0, 9, 0, 0, 0, 0}), 9, 0), 7);
}

TEST(UsualAt, CountsAllOfTheOtherSideWhereOneHasTooFew)
{
    // Three before: of those after the second highest counts, of twice as many frames,
    EXPECT_EQ(UsualAt(SeriesOf({0, 0, 0, 9, 0, 4, 0, 0, 0, 0, 0, 0, 0, 0, 0, 5, 0}), 3, 0), 4);
    EXPECT_EQ(UsualAt(SeriesOf({0, 0, 0, 9, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 5, 0}), 3, 0), 0);
    // and of the three the highest.
    EXPECT_EQ(UsualAt(SeriesOf({0, 6, 0, 9, 0, 4, 0, 0, 0, 0, 0, 0, 0, 0, 0, 5, 0}), 3, 0), 6);
    EXPECT_EQ(UsualAt(SeriesOf({0, 4, 5, 0, 0, 0, 0, 0, 9, 3, 0, 0}), 8, 0), 4);
    // With one more there are enough.
    EXPECT_EQ(UsualAt(SeriesOf({0, 0, 0, 0, 9, 0, 4, 0, 0, 0, 0, 0, 0, 0, 0, 5, 0}), 4, 0), 0);
    // Those that are not known are none.
    EXPECT_EQ(UsualAt(SeriesOf({0, 0, 0, -1, 9, 0, 4, 0, 0, 0, 0, 0, 0, 0, 0, 5, 0}), 4, 0), 4);
    EXPECT_EQ(UsualAt(SeriesOf({9}), 0, 0), 0);
}

TEST(UsualAt, IsTheHighestWhereBothSidesHaveTooFew)
{
    for (const auto &[values, frame] :
         {std::pair(std::vector<float>{-1, 9, 5, -1}, 1u), {{-1, 5, 9, -1}, 2u}})
        EXPECT_EQ(UsualAt(SeriesOf(values), frame, 0), 5) << frame;
    EXPECT_EQ(UsualAt(SeriesOf({0, 9, 0, 4}), 1, 0), 4);
    EXPECT_EQ(UsualAt(SeriesOf({4, 0, 9, 0}), 2, 0), 4);
}

TEST(UsualAt, OfAPlaceIsNotThatOfAnother)
{
    SpikeSeries series(17, 2);
    for (std::size_t frame = 0; frame < 17; ++frame)
    {
        series.Set(frame, 0, 0);
        series.Set(frame, 1, float(frame));
    }
    EXPECT_EQ(UsualAt(series, 8, 0), 0);
    EXPECT_EQ(UsualAt(series, 8, 1), 15);
}

// Each place by all places.
std::vector<float> SlowlySpread(std::span<const float> values, int columns, int reach)
{
    std::vector<float> spread(values.size());
    for (int place = 0; place < int(values.size()); ++place)
        for (int other = 0; other < int(values.size()); ++other)
            if (std::abs(place % columns - other % columns) <= reach &&
                std::abs(place / columns - other / columns) <= reach)
                spread[std::size_t(place)] =
                    std::max(spread[std::size_t(place)], values[std::size_t(other)]);
    return spread;
}

TEST(SpreadOverPlaces, GivesEachPlaceTheGreatestAround)
{
    std::minstd_rand chance(5);
    for (const auto &[columns, rows] :
         {std::pair(1, 1), {1, 9}, {9, 1}, {5, 4}, {16, 9}, {32, 18}, {3, 32}})
        for (const int reach : {0, 1, 2, 4, 8, 40})
        {
            const auto places = std::size_t(columns * rows);
            SpikeSeries series(3, places);
            for (const std::size_t frame : {0u, 2u})
                for (float &value : series.Fill(frame))
                    value = chance() % 7 == 0 ? float(chance() % 100) : 0;
            const SpikeSeries before = series;
            SpreadOverPlaces(series, columns, reach);
            EXPECT_FALSE(series.IsKnown(1));
            for (const std::size_t frame : {0u, 2u})
            {
                const std::span<const float> values = series.At(frame);
                EXPECT_EQ(std::vector(values.begin(), values.end()),
                          SlowlySpread(before.At(frame), columns, reach))
                    << columns << 'x' << rows << ", " << reach;
            }
        }
}

TEST(SpreadOverPlaces, TakesNoPlacesForNone)
{
    SpikeSeries series(2, 0);
    series.Fill(1);
    SpreadOverPlaces(series, 0, 3);
    EXPECT_TRUE(series.At(1).empty());
}

} // namespace
} // namespace check
