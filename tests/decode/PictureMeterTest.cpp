#include "decode/PictureMeter.h"

#include <OpenImageIO/half.h>
#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <random>

#include <gtest/gtest.h>

#include "tests/decode/SlowMeasures.h"

using namespace decode;
using OIIO::ImageSpec;
using OIIO::TypeDesc;

namespace
{

constexpr auto k_int_most = std::numeric_limits<int>::max();
constexpr auto k_int_least = std::numeric_limits<int>::min();

ImageSpec SpecOf(int width, int height, int channels = 3, TypeDesc type = OIIO::TypeFloat)
{
    return {width, height, channels, type};
}

ImageSpec InWindow(ImageSpec spec, int x, int y, int width, int height)
{
    spec.full_x = x;
    spec.full_y = y;
    spec.full_width = width;
    spec.full_height = height;
    return spec;
}

// A slope of light with noise, black places and single bright pixels.
std::vector<double> Scene(const ImageSpec &spec)
{
    std::mt19937 random(unsigned(spec.width * 7919 + spec.height));
    std::uniform_real_distribution<double> share(0, 1);
    std::vector<double> values;
    for (int y = 0; y < spec.height; ++y)
        for (int x = 0; x < spec.width; ++x)
        {
            double level = 0.05 + 0.4 * x / spec.width + 0.2 * y / spec.height;
            level *= share(random) < 0.03 ? 2.1 + share(random) : 0.8 + 0.4 * share(random);
            if ((x / 9 + y / 5) % 4 == 0)
                level *= 0.001;
            for (int channel = 0; channel < spec.nchannels; ++channel)
                values.push_back(std::min(level * (0.9 + 0.1 * share(random)), 1.0));
        }
    return values;
}

template <typename Value> std::string Stored(const std::vector<double> &values)
{
    std::string bytes;
    for (const double value : values)
    {
        const double most =
            std::is_integral_v<Value> ? double(std::numeric_limits<Value>::max()) : 1;
        Value stored;
        if constexpr (std::is_integral_v<Value>)
            stored = Value(std::llround(value * most));
        else
            stored = Value(float(value));
        bytes.append(reinterpret_cast<const char *>(&stored), sizeof stored);
    }
    return bytes;
}

std::string StoredAs(TypeDesc type, const std::vector<double> &values)
{
    if (type == OIIO::TypeUInt8)
        return Stored<std::uint8_t>(values);
    if (type == OIIO::TypeUInt16)
        return Stored<std::uint16_t>(values);
    if (type == OIIO::TypeUInt32)
        return Stored<std::uint32_t>(values);
    return type == OIIO::TypeHalf ? Stored<half>(values) : Stored<float>(values);
}

// How a reader gives a picture: in blocks of that size, each row of blocks from the left or from
// the right.
struct Blocks
{
    int width = k_int_most;
    int height = 1;
    bool isFromRight = false;
};

void Give(PictureMeter &meter, const ImageSpec &spec, const std::string &pixels,
          const Blocks &blocks)
{
    const std::size_t pixelBytes = spec.pixel_bytes(true);
    const int side = std::min(blocks.width, spec.width);
    const int count = (spec.width + side - 1) / side;
    for (int y = 0; y < spec.height; y += blocks.height)
        for (int i = 0; i < count; ++i)
        {
            const int x = (blocks.isFromRight ? count - 1 - i : i) * side;
            const int width = std::min(side, spec.width - x);
            const int height = std::min(blocks.height, spec.height - y);
            const int stride = side + 2; // Wider than the block, as a reader's tiles are.
            std::string piece(std::size_t(stride) * std::size_t(height) * pixelBytes, '\x7f');
            for (int row = 0; row < height; ++row)
                pixels.copy(
                    &piece[std::size_t(row * stride) * pixelBytes], std::size_t(width) * pixelBytes,
                    (std::size_t(y + row) * std::size_t(spec.width) + std::size_t(x)) * pixelBytes);
            meter.Add({piece.data(), x, y, width, height, stride});
        }
}

PictureMeasures Measured(const ImageSpec &spec, const std::vector<double> &values,
                         const Blocks &blocks = {})
{
    PictureMeter meter(spec);
    Give(meter, spec, StoredAs(spec.format, values), blocks);
    return meter.Finish();
}

bool ComesFirst(const Peak &one, const Peak &other)
{
    return std::pair(one.y, one.x) < std::pair(other.y, other.x);
}

void ExpectPeaks(const PictureMeasures &measures, std::vector<Peak> all)
{
    EXPECT_TRUE(std::ranges::is_sorted(measures.peaks, ComesFirst));
    ASSERT_EQ(measures.peaks.size(), std::min(all.size(), k_MostPeaks));
    for (const Peak &peak : measures.peaks)
    {
        const auto same = std::ranges::find_if(all, [&](const Peak &one)
                                               { return one.x == peak.x && one.y == peak.y; });
        ASSERT_NE(same, all.end()) << peak.x << ", " << peak.y;
        EXPECT_NEAR(same->greatest, peak.greatest, 1) << peak.x << ", " << peak.y;
        all.erase(same);
    }
    // Those that are left out.
    for (const Peak &peak : all)
        for (const Peak &kept : measures.peaks)
            ASSERT_LE(peak.greatest, kept.greatest + 1);
}

// All but the hash, which others make.
void ExpectSame(const PictureMeasures &measures, const PictureMeasures &slow)
{
    EXPECT_EQ(measures.width, slow.width);
    EXPECT_EQ(measures.height, slow.height);
    EXPECT_EQ(measures.columns, slow.columns);
    EXPECT_EQ(measures.rows, slow.rows);
    ASSERT_EQ(measures.tiles.size(), slow.tiles.size());
    for (std::size_t i = 0; i < slow.tiles.size(); ++i)
    {
        SCOPED_TRACE("tile " + std::to_string(i));
        EXPECT_NEAR(measures.tiles[i].level, slow.tiles[i].level, 1);
        EXPECT_NEAR(measures.tiles[i].detail, slow.tiles[i].detail, 1);
        EXPECT_NEAR(measures.tiles[i].greatest, slow.tiles[i].greatest, 1);
        EXPECT_NEAR(measures.tiles[i].black, slow.tiles[i].black, 1);
        EXPECT_NEAR(measures.tiles[i].across, slow.tiles[i].across, 1);
        EXPECT_NEAR(measures.tiles[i].down, slow.tiles[i].down, 1);
    }
    ExpectPeaks(measures, slow.peaks);
}

// Also where an 8 bit step rounds: the oracle is told what is stored.
std::vector<double> Rounded(std::vector<double> values, double most)
{
    for (double &value : values)
        value = std::round(value * most) / most;
    return values;
}

} // namespace

TEST(PictureMeter, MeasuresWhatAPlainCountOverTheWholePictureFinds)
{
    const int sizes[][2] = {{1, 1},   {3, 2},    {1, 9},  {9, 1},    {7, 5},   {31, 17},
                            {33, 64}, {160, 90}, {97, 3}, {1920, 8}, {8, 700}, {65, 130}};
    for (const auto &[width, height] : sizes)
    {
        SCOPED_TRACE(testing::Message() << width << " x " << height);
        const ImageSpec spec = SpecOf(width, height);
        const std::vector<double> values = Scene(spec);
        ExpectSame(Measured(spec, values), MeasureSlowly(spec, values));
    }
}

// Which tiles of two pictures have the same mark, as a row of letters a row of tiles.
std::string SameMarks(const PictureMeasures &one, const PictureMeasures &other)
{
    std::string same;
    for (std::size_t i = 0; i < one.tiles.size(); ++i)
        same += one.tiles[i].mark == other.tiles[i].mark ? '=' : 'x';
    return same;
}

TEST(PictureMeter, MarksTilesByTheirPixels)
{
    // Of 3 x 2 tiles of 4 x 4 pixels.
    const ImageSpec spec = SpecOf(12, 8, 1);
    const std::vector<double> values = Scene(spec);
    const PictureMeasures measures = Measured(spec, values);
    ASSERT_EQ(measures.tiles.size(), 6u);
    const auto at = [](int x, int y) { return std::size_t(y * 12 + x); };
    const struct
    {
        const char *what;
        std::function<void(std::vector<double> &)> change;
        const char *same;
    } cases[] = {
        {"nothing", [](auto &) {}, "======"},
        {"one value", [&](auto &v) { v[at(5, 2)] *= 1 + 1e-6; }, "=x===="},
        {"two columns", [&](auto &v) { std::swap(v[at(8, 5)], v[at(9, 5)]); }, "=====x"},
        {"two rows", [&](auto &v) { std::swap(v[at(3, 5)], v[at(3, 6)]); }, "===x=="},
        {"at the rim", [&](auto &v) { v[at(4, 4)] /= 2; }, "====x="},
        {"all", [](auto &v) { std::ranges::reverse(v); }, "xxxxxx"},
    };
    for (const auto &[what, change, same] : cases)
    {
        std::vector<double> other = values;
        change(other);
        EXPECT_EQ(SameMarks(Measured(spec, other), measures), same) << what;
    }
}

TEST(PictureMeter, MarksFewTilesAlikeThatAreNot)
{
    const ImageSpec spec = SpecOf(320, 320, 1);
    const std::vector<double> values = Scene(spec);
    const PictureMeasures measures = Measured(spec, values);
    int count = 0;
    for (int step = 1; step < 40; ++step)
    {
        std::vector<double> turned = values;
        std::rotate(turned.begin(), turned.begin() + step, turned.end());
        const std::string same = SameMarks(Measured(spec, turned), measures);
        count += int(std::ranges::count(same, '='));
    }
    // 40,000 pairs, so less than one is chance.
    EXPECT_LE(count, 4);
}

TEST(PictureMeter, MeasuresTheSameHoweverThePixelsCome)
{
    const ImageSpec whole = SpecOf(100, 70);
    const Blocks ways[] = {{k_int_most, 7, false}, {k_int_most, 70, false}, {16, 16, false},
                           {16, 16, true},         {64, 64, true},          {1, 70, true},
                           {99, 1, false},         {100, 33, false}};
    // The whole of it, and what windows of other sizes and places show.
    for (const ImageSpec &spec :
         {whole, InWindow(whole, 13, 9, 50, 40), InWindow(whole, -20, -11, 150, 120),
          InWindow(whole, 60, 30, 80, 80)})
    {
        const std::vector<double> values = Scene(spec);
        const PictureMeasures byRows = Measured(spec, values);
        for (const Blocks &way : ways)
            EXPECT_EQ(Measured(spec, values, way), byRows)
                << way.width << " x " << way.height << " in window at " << spec.full_x;
    }
}

TEST(PictureMeter, LaysTheTilesOverTheDisplayWindow)
{
    const ImageSpec whole = SpecOf(60, 40);
    const std::vector<double> values = Scene(whole);
    const struct
    {
        const char *what;
        int x, y, width, height;
    } cases[] = {
        {"larger", -10, -20, 100, 90},
        {"smaller", 10, 5, 30, 20},
        {"beside", 200, 0, 60, 40},
        {"above", 0, -100, 60, 40},
        {"below", 0, 100, 60, 40},
        {"left of it", -100, 3, 60, 40},
        {"a corner", 50, 30, 64, 64},
        {"the other corner", -50, -30, 64, 64},
        {"touching", 60, 0, 10, 40},
        {"one column", 59, 0, 10, 40},
        {"one row", 0, 39, 60, 7},
        {"a band across", -30, 10, 200, 5},
        {"many columns beside", -500, 0, 1000, 40},
        {"from column 32 on", -32, 0, 150, 40},
        {"up to column 64", -4, 0, 150, 40},
    };
    for (const auto &[what, x, y, width, height] : cases)
    {
        SCOPED_TRACE(what);
        const ImageSpec spec = InWindow(whole, x, y, width, height);
        ExpectSame(Measured(spec, values), MeasureSlowly(spec, values));
        ExpectSame(Measured(spec, values, {16, 16}), MeasureSlowly(spec, values));
    }
}

TEST(PictureMeter, MeasuresTheDataWindowWhereTheDisplayWindowMakesNoSense)
{
    const ImageSpec whole = SpecOf(40, 30);
    const std::vector<double> values = Scene(whole);
    const PictureMeasures expected = MeasureSlowly(whole, values);
    const int windows[][4] = {
        {0, 0, 0, 0},
        {0, 0, -5, 30},
        {0, 0, 40, -1},
        {0, 0, k_int_most, k_int_most},
        {0, 0, 65536, 30},
        {0, 0, 40, k_int_least},
        {k_int_most, k_int_most, 40, 30},
        {k_int_least, k_int_least, 40, 30},
        {0, 65536, 40, 30},
        {-65536, 0, 40, 30},
    };
    for (const auto &[x, y, width, height] : windows)
    {
        SCOPED_TRACE(testing::Message() << x << ", " << y << ": " << width << " x " << height);
        ExpectSame(Measured(InWindow(whole, x, y, width, height), values), expected);
    }
    ImageSpec far = whole;
    far.x = k_int_most - 100;
    far.full_x = k_int_least;
    ExpectSame(Measured(far, values), expected);
}

TEST(PictureMeter, TakesNoTimeAndNoRoomForADisplayWindowWithoutPixels)
{
    const ImageSpec spec = InWindow(SpecOf(3, 2), -40000, -40000, 65535, 65535);
    // Tiles of its own width, so that rows are kept until they are complete.
    const PictureMeasures measures = Measured(spec, std::vector<double>(18, 1.0), {2, 2});
    ASSERT_EQ(measures.tiles.size(), 1024u);
    const std::size_t place = 40000 * 32 / 65535;
    for (std::size_t i = 0; i < measures.tiles.size(); ++i)
        EXPECT_EQ(measures.tiles[i].level > 0, i == place * 32 + place) << i;
}

TEST(PictureMeter, CountsTheFirstSliceOfAVolume)
{
    ImageSpec spec = InWindow(SpecOf(20, 10), 0, 0, 20, 16);
    const std::vector<double> values = Scene(spec);
    const PictureMeasures first = Measured(spec, values);
    PictureMeter meter(spec);
    Give(meter, spec, StoredAs(spec.format, values), {k_int_most, 4});
    Give(meter, spec, StoredAs(spec.format, std::vector<double>(values.size(), 1.0)), {16, 4});
    EXPECT_EQ(meter.Finish(), first);
}

TEST(PictureMeter, MeasuresEveryKindOfPixel)
{
    const struct
    {
        TypeDesc type;
        double most;
    } types[] = {{OIIO::TypeUInt8, 255},
                 {OIIO::TypeUInt16, 65535},
                 {OIIO::TypeUInt32, 4294967295.0},
                 {OIIO::TypeHalf, 1024},
                 {OIIO::TypeFloat, 1 << 20}};
    for (const auto &[type, most] : types)
        for (const int channels : {1, 3, 4})
        {
            SCOPED_TRACE(testing::Message() << type.c_str() << " x " << channels);
            const ImageSpec spec = SpecOf(70, 50, channels, type);
            // Longer numbers are looked up by 12 bits, so give those values that 12 bits can say.
            const std::vector<double> values = Rounded(Scene(spec), most < 5000 ? most : 4095);
            ExpectSame(Measured(spec, values), MeasureSlowly(spec, values));
        }
}

TEST(PictureMeter, KeepsTheBrightestOfThousandsOfPeaks)
{
    const ImageSpec spec = SpecOf(400, 200, 1);
    std::vector<double> values(std::size_t(spec.width * spec.height), 0.01);
    std::mt19937 random(3);
    std::uniform_real_distribution<double> stops(-4, 9);
    for (std::size_t y = 1; y < 199; y += 3)
        for (std::size_t x = 1; x < 399; x += 3)
            values[y * 400 + x] = std::exp2(stops(random));
    const PictureMeasures slow = MeasureSlowly(spec, values);
    ASSERT_GT(slow.peaks.size(), 5000u);
    ExpectSame(Measured(spec, values), slow);
}

TEST(PictureMeter, FindsAPeakBesideNoMoreThanOneBrightNeighbour)
{
    const ImageSpec spec = SpecOf(9, 9, 1);
    const int around[] = {-10, -9, -8, -1, 1, 8, 9, 10};
    for (const int one : around)
        for (const int other : around)
        {
            std::vector<double> values(81, 0.1);
            values[40] = 1;
            values[std::size_t(40 + one)] = values[std::size_t(40 + other)] = 0.75;
            const std::vector<Peak> peaks = Measured(spec, values).peaks;
            const bool isPeak = std::ranges::any_of(peaks, [](const Peak &peak)
                                                    { return peak.x == 4 && peak.y == 4; });
            EXPECT_EQ(isPeak, one == other) << one << ", " << other;
        }
}

TEST(PictureMeter, FindsPeaksInEveryColumnAndAtNoBlack)
{
    for (int x = 0; x < 130; ++x)
    {
        const ImageSpec spec = SpecOf(130, 5, 1);
        std::vector<double> values(650, 0.0);
        values[std::size_t(260 + x)] = 0.002;
        EXPECT_EQ(Measured(spec, values).peaks.size(), 1u) << x;
        values[std::size_t(260 + x)] = 2 * k_BlackLight; // Half of it counts as black.
        EXPECT_EQ(Measured(spec, values).peaks.size(), 0u) << x;
    }
}

TEST(PictureMeter, TakesWhatIsNoLightForNone)
{
    const ImageSpec spec = SpecOf(40, 30, 1);
    std::vector<double> dark = Scene(spec);
    std::vector<double> wild = dark;
    const double none[] = {std::numeric_limits<double>::quiet_NaN(),
                           -std::numeric_limits<double>::infinity(), -0.5, -0.0};
    for (std::size_t i = 0; i < wild.size(); i += 5)
    {
        wild[i] = none[i / 5 % 4];
        dark[i] = 0;
    }
    EXPECT_EQ(Measured(spec, wild), Measured(spec, dark));

    std::vector<double> endless = dark;
    std::vector<double> bright = dark;
    endless[333] = std::numeric_limits<double>::infinity();
    bright[333] = 65504;
    EXPECT_EQ(Measured(spec, endless), Measured(spec, bright)) << "infinite is as bright as can be";
}
