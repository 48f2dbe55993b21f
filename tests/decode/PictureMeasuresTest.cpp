#include "decode/PictureMeasures.h"

#include <cmath>
#include <limits>

#include <gtest/gtest.h>

using namespace decode;

namespace
{

PictureMeasures Sample(int columns = 3, int rows = 2, std::size_t peaks = 2)
{
    PictureMeasures measures;
    measures.width = 1920;
    measures.height = 1080;
    measures.columns = columns;
    measures.rows = rows;
    measures.hash = 0xfedcba9876543210;
    for (int i = 0; i < columns * rows; ++i)
        measures.tiles.push_back({std::uint16_t(65535 - i), std::uint8_t(i), 255, 128,
                                  std::int8_t(-127), std::int8_t(127), std::uint16_t(7 * i)});
    for (std::size_t i = 0; i < peaks; ++i)
        measures.peaks.push_back({std::uint16_t(1919 - i), std::uint16_t(1079 - i), 200});
    return measures;
}

template <typename Change> PictureMeasures With(Change change)
{
    PictureMeasures measures = Sample();
    change(measures);
    return measures;
}

} // namespace

TEST(PictureMeasures, TellLevelsInStepsOfAStop)
{
    const struct
    {
        double light;
        int level;
        int coarse;
    } cases[] = {
        {1, 40960, 160},
        {0.5, 38912, 152},
        {std::exp2(-20), 0, 0},
        {std::exp2(-19), 2048, 8},
        {std::exp2(-20.0 + 1.0 / 2048), 1, 0},
        {std::exp2(-30), 0, 0},
        {0, 0, 0},
        {-1, 0, 0},
        {std::numeric_limits<double>::denorm_min(), 0, 0},
        {std::numeric_limits<double>::quiet_NaN(), 0, 0},
        {65504, 65535, 255},
        {4095, 65535, 255},
        {std::numeric_limits<double>::infinity(), 65535, 255},
    };
    for (const auto &[light, level, coarse] : cases)
    {
        EXPECT_EQ(LevelOf(light), level) << light;
        EXPECT_EQ(CoarseLevelOf(light), coarse) << light;
    }
}

TEST(PictureMeasures, TellTheLightOfEveryLevel)
{
    for (unsigned level = 0; level <= 65535; ++level)
        ASSERT_EQ(LevelOf(LightOf(std::uint16_t(level))), level);
    EXPECT_EQ(LightOf(0), 0);
    EXPECT_EQ(LightOf(40960), 1);
    for (unsigned coarse = 0; coarse <= 255; ++coarse)
        EXPECT_EQ(CoarseLevelOf(std::exp2(StopsOf(std::uint8_t(coarse)))), coarse);
    EXPECT_EQ(StopsOf(160), 0);
    EXPECT_EQ(StopsOf(0), -20);
}

TEST(PictureMeasures, CutASideIntoTilesThatLeaveNothingOut)
{
    EXPECT_EQ(TileEdges(10, 3), (std::vector<int>{0, 3, 6, 10}));
    EXPECT_EQ(TileEdges(1, 1), (std::vector<int>{0, 1}));
    EXPECT_EQ(TileEdges(65535, 32).back(), 65535);
    const struct
    {
        int pixels;
        int longerSide;
        int count;
    } cases[] = {
        {1920, 1920, 32}, {1080, 1920, 18}, {1, 1, 1},          {3, 3, 1},     {8, 8, 2},
        {127, 127, 31},   {128, 128, 32},   {65535, 65535, 32}, {1, 65535, 1}, {8, 1920, 1},
    };
    for (const auto &[pixels, longerSide, count] : cases)
        EXPECT_EQ(TileCount(pixels, longerSide), count) << pixels << " of " << longerSide;
}

TEST(PictureMeasures, ComeBackAsTheyWereSent)
{
    const PictureMeasures cases[] = {
        {},
        Sample(),
        Sample(1, 1, 0),
        Sample(32, 32, k_MostPeaks),
        With([](auto &m) { m.width = m.height = 65535; }),
    };
    for (const PictureMeasures &measures : cases)
        EXPECT_EQ(ParseMeasures(PackMeasures(measures)), measures);
    EXPECT_EQ(PackMeasures({}), "");
}

TEST(PictureMeasures, AreRefusedWhereTheyAreNone)
{
    const std::string good = PackMeasures(Sample());
    ASSERT_TRUE(ParseMeasures(good));
    for (std::size_t length = 1; length < good.size(); ++length)
    {
        const bool areFewerPeaks = length + 10 == good.size() || length + 20 == good.size();
        EXPECT_EQ(ParseMeasures(good.substr(0, length)).has_value(), areFewerPeaks) << length;
    }
    for (const char *more : {"0", "00", "00000000"})
        EXPECT_FALSE(ParseMeasures(good + more)) << more;
    for (std::size_t place = 0; place < good.size(); ++place)
        for (const char wrong : {'g', 'A', ' ', '-', '\0', '\xff'})
        {
            std::string text = good;
            text[place] = wrong;
            EXPECT_FALSE(ParseMeasures(text)) << place;
        }
}

TEST(PictureMeasures, AreRefusedWhereTheirNumbersCannotBe)
{
    const PictureMeasures cases[] = {
        With([](auto &m) { m.width = 0; }),
        With([](auto &m) { m.width = -1; }),
        With([](auto &m) { m.width = 65536; }),
        With([](auto &m) { m.height = 0; }),
        With([](auto &m) { m.height = std::numeric_limits<int>::max(); }),
        With([](auto &m) { m.columns = 0; }),
        With([](auto &m) { m.rows = -2; }),
        With([](auto &m) { m.columns = 2; }),
        With([](auto &m) { m.rows = 3; }),
        With([](auto &m) { m.columns = std::numeric_limits<int>::max(); }),
        With([](auto &m) { m.width = 2, m.peaks.clear(); }), // Three tiles of two pixels.
        With([](auto &m) { m.peaks[1].x = 1920; }),
        With([](auto &m) { m.peaks[0].y = 1080; }),
        Sample(33, 1),
        Sample(1, 33),
        Sample(3, 2, k_MostPeaks + 1),
    };
    for (const PictureMeasures &measures : cases)
        EXPECT_FALSE(ParseMeasures(PackMeasures(measures))) << PackMeasures(measures);
}
