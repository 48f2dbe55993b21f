#include "decode/MakeStrip.h"

#include <OpenImageIO/imageio.h>
#include <limits>
#include <ostream>

#include <gtest/gtest.h>

#include "tests/decode/SampleImage.h"
#include "tests/decode/Shown.h"
#include "tests/support/Printing.h"
#include "tests/support/TempFolder.h"

using namespace decode;
using OIIO::ImageSpec;

namespace
{

constexpr int k_gap = 8;
constexpr std::array<int, 3> k_grey{128, 128, 128};
constexpr std::array<int, 3> k_yellow{255, 208, 0};

// Even, but for one pixel.
PixelValue Spark(float ground, int atX, int atY, float spark)
{
    return [=](int x, int y, int) { return x == atX && y == atY ? spark : ground; };
}

class MakeStripTest : public testing::Test
{
protected:
    Shown Make(const String &name, const StripWish &wish) const
    {
        const Picture picture = MakeStrip(m_folder / name, wish);
        EXPECT_EQ(picture.trouble + picture.reason, "") << name;
        return Unpacked(picture.jpeg, m_folder);
    }

    // The wish for a place between the files before.exr and after.exr.
    StripWish Between(const StripPlace &place) const
    {
        return {place, m_folder / "before.exr", m_folder / "after.exr"};
    }

    void WriteNeighbours(const ImageSpec &spec, float before, float after) const
    {
        WriteImage(m_folder / "before.exr", spec, Constant({before, before, before, 1.0f}));
        WriteImage(m_folder / "after.exr", spec, Constant({after, after, after, 1.0f}));
    }

    TempFolder m_folder;
};

void ExpectColour(const Shown &shown, int x, int y, const std::array<int, 3> &colour,
                  const std::string &what)
{
    for (int channel = 0; channel < 3; ++channel)
        EXPECT_NEAR(shown.At(x, y, channel), colour[std::size_t(channel)], 12)
            << what << " at " << x << ", " << y << " channel " << channel;
}

std::array<int, 3> GreyOf(double linear)
{
    const int value = Coded(linear);
    return {value, value, value};
}

// The middle of one of the three, or what is left of it and above: a pixel is large.
void ExpectMiddle(const Shown &shown, int picture, const std::array<int, 3> &colour,
                  const std::string &what = {})
{
    const int width = (shown.width - 2 * k_gap) / 3;
    ExpectColour(shown, picture * (width + k_gap) + width / 2 - 3, shown.height / 2 - 3, colour,
                 what + " picture " + std::to_string(picture));
}

} // namespace

TEST_F(MakeStripTest, ShowsAPlaceBetweenItsNeighboursInTheirOrder)
{
    const ImageSpec spec(640, 480, 3, OIIO::TypeHalf);
    WriteNeighbours(spec, 0.05f, 0.2f);
    WriteImage(m_folder / "a.exr", spec, Spark(0.1f, 300, 200, 4.0f));
    const Shown shown = Make("a.exr", Between({300, 200, 1, 1}));
    EXPECT_EQ(shown.width, 3 * 480 + 2 * k_gap);
    EXPECT_EQ(shown.height, 480);
    ExpectMiddle(shown, 0, GreyOf(0.05));
    ExpectMiddle(shown, 1, {255, 255, 255});
    ExpectMiddle(shown, 2, GreyOf(0.2));
    // A pixel is a square without smooth edges, with its frame around it.
    const int left = 480 + k_gap + 225;
    for (const auto &[x, y] : {std::pair(1, 1), {13, 1}, {1, 13}, {13, 13}, {7, 7}})
        ExpectColour(shown, left + x, 225 + y, {255, 255, 255}, "the spark");
    for (int picture = 0; picture < 3; ++picture)
    {
        const int begin = picture * (480 + k_gap) + 225;
        for (const auto &[x, y] : {std::pair(-1, 7), {15, 7}, {7, -1}, {7, 15}, {-1, -1}, {15, 15}})
            for (int channel = 0; channel < 3; ++channel)
                EXPECT_NEAR(shown.At(begin + x, 225 + y, channel), k_yellow[std::size_t(channel)],
                            70)
                    << picture << ": " << x << " " << y;
        ExpectColour(shown, begin - 6, 225 - 6,
                     GreyOf(picture == 0   ? 0.05
                            : picture == 1 ? 0.1
                                           : 0.2),
                     "the ground");
    }
    ExpectColour(shown, 480 + k_gap / 2, 100, {88, 88, 88}, "the gap");
}

TEST_F(MakeStripTest, ShowsAWholePictureSmallerAndWithoutAFrame)
{
    const ImageSpec spec(960, 540, 3, OIIO::TypeHalf);
    WriteNeighbours(spec, 0.25f, 0.5f);
    // Means are those of linear light.
    WriteImage(m_folder / "a.exr", spec,
               [](int x, int, int) { return x / 4 % 2 == 0 ? 0.5f : 0.0f; });
    const Shown shown = Make("a.exr", Between({0, 0, 960, 540}));
    EXPECT_EQ(shown.width, 3 * 480 + 2 * k_gap);
    EXPECT_EQ(shown.height, 270);
    WriteImage(m_folder / "b.exr", spec, [](int x, int, int) { return x % 2 == 0 ? 0.5f : 0.0f; });
    ExpectMiddle(Make("b.exr", Between({0, 0, 960, 540})), 1, GreyOf(0.25));
    for (const auto &[x, y] : {std::pair(0, 0), {479, 0}, {0, 269}, {479, 269}, {240, 1}})
        ExpectColour(shown, x, y, GreyOf(0.25), "no frame");
}

TEST_F(MakeStripTest, ShowsTheBrightestPixelOfAnAreaWhereItIsAskedFor)
{
    const ImageSpec spec(1920, 1080, 3, OIIO::TypeHalf);
    WriteImage(m_folder / "a.exr", spec, Spark(0.2f, 4 * 237 + 1, 4 * 132 + 2, 1.0f));
    StripWish wish{{0, 0, 1920, 1080}};
    ExpectMiddle(Make("a.exr", wish), 1, GreyOf(0.25), "a sixteenth of it");
    wish.cells = StripCells::Brightest;
    const Shown shown = Make("a.exr", wish);
    ExpectMiddle(shown, 1, {255, 255, 255});
    ExpectColour(shown, 488 + 200, 100, GreyOf(0.2), "the ground");
    WriteImage(m_folder / "a.exr", spec,
               Spark(0.2f, 4 * 237, 4 * 132, std::numeric_limits<float>::quiet_NaN()));
    ExpectMiddle(Make("a.exr", wish), 1, {255, 0, 255});
}

TEST_F(MakeStripTest, PutsAnEvenGreyWhereThereIsNoNeighbour)
{
    const ImageSpec spec(64, 64, 3, OIIO::TypeHalf);
    WriteImage(m_folder / "a.exr", spec, Constant({0.5f, 0.5f, 0.5f}));
    WriteImage(m_folder / "small.exr", {32, 64, 3, OIIO::TypeHalf}, Constant({1, 1, 1}));
    WriteImage(m_folder / "low.exr", {64, 32, 3, OIIO::TypeHalf}, Constant({1, 1, 1}));
    ImageSpec turned = spec;
    turned.attribute("Orientation", 6);
    WriteImage(m_folder / "turned.exr", turned, Constant({1, 1, 1}));
    m_folder.MakeFile("words.exr", "words");
    m_folder.MakeFile("empty.exr");
    WriteImage(m_folder / "cut.exr", spec);
    const std::string content = ContentOf(m_folder / "cut.exr");
    m_folder.MakeFile("cut.exr", content.substr(0, content.size() / 2));
    for (const char *name : {"", "gone.exr", "small.exr", "low.exr", "turned.exr", "words.exr",
                             "empty.exr", "cut.exr", "."})
    {
        StripWish wish{{30, 20, 4, 4}};
        for (Path *neighbour : {&wish.before, &wish.after})
        {
            *neighbour = *name ? m_folder / name : Path();
            const Shown shown = Make("a.exr", wish);
            ExpectMiddle(shown, neighbour == &wish.before ? 0 : 2, k_grey, name);
            ExpectMiddle(shown, 1, GreyOf(0.5), name);
        }
        ExpectColour(Make("a.exr", wish), 0, 0, k_grey, name);
    }
}

TEST_F(MakeStripTest, RaisesAllThreeAlikeWhereAllAreDark)
{
    const struct
    {
        float before;
        float ground;
        float after;
        double gain;
    } cases[] = {
        {0.2f, 0.02f, 0.01f, 1},      {0.01f, 0.02f, 0.12f, 1},    {0.01f, 0.02f, 0.05f, 8},
        {0.02f, 0.0f, 0.02f, 16},     {0.03f, 0.001f, 0.002f, 16}, {0.002f, 0.001f, 0.002f, 64},
        {1e-20f, 1e-20f, 1e-20f, 64}, {0.0f, 0.0f, 0.0f, 1},
    };
    const ImageSpec spec(100, 80, 3, OIIO::TypeFloat);
    for (const auto &[before, ground, after, gain] : cases)
    {
        WriteNeighbours(spec, before, after);
        WriteImage(m_folder / "a.exr", spec, Spark(ground, 43, 33, 100.0f)); // No measure.
        const Shown shown = Make("a.exr", Between({40, 30, 1, 1}));
        const std::string what = std::to_string(before) + " " + std::to_string(ground);
        ExpectMiddle(shown, 0, GreyOf(before * gain), what);
        ExpectMiddle(shown, 1, GreyOf(ground * gain), what);
        ExpectMiddle(shown, 2, GreyOf(after * gain), what);
    }
}

TEST_F(MakeStripTest, CutsOutOfEveryKindOfImage)
{
    const struct
    {
        const char *name;
        OIIO::TypeDesc type;
    } cases[] = {
        {"a.png", OIIO::TypeUInt8},  {"b.png", OIIO::TypeUInt16}, {"a.tif", OIIO::TypeUInt8},
        {"b.tif", OIIO::TypeUInt16}, {"c.tif", OIIO::TypeFloat},  {"d.tif", OIIO::TypeUInt32},
        {"a.exr", OIIO::TypeHalf},   {"b.exr", OIIO::TypeFloat},  {"a.dpx", OIIO::TypeUInt16},
        {"a.tga", OIIO::TypeUInt8},
    };
    for (const auto &[name, type] : cases)
        for (const bool isTiled : {false, true})
        {
            if (isTiled && String(name).find(".exr") == String::npos &&
                String(name).find(".tif") == String::npos)
                continue;
            ImageSpec spec(300, 200, 3, type);
            if (isTiled)
                spec = Tiled(spec);
            // Of 8 bits and more the same colours, and a place that all else is unlike.
            const auto value = [](int x, int y, int channel)
            {
                const bool isPlace = x >= 96 && x < 128 && y >= 64 && y < 96;
                return isPlace ? (channel == 0 ? 1.0f : 0.0f) : (channel == 2 ? 1.0f : 0.0f);
            };
            WriteImage(m_folder / name, spec, value);
            const Shown shown = Make(name, {{96, 64, 32, 32}, m_folder / name, m_folder / name});
            EXPECT_EQ(shown.width, 3 * 448 + 2 * k_gap) << name; // 64 pixels by 7.
            for (int picture = 0; picture < 3; ++picture)
            {
                const int left = picture * (448 + k_gap);
                ExpectColour(shown, left + 114, 114, {255, 0, 0}, name);
                ExpectColour(shown, left + 333, 333, {255, 0, 0}, name);
                ExpectColour(shown, left + 106, 224, {0, 0, 255}, name);
                ExpectColour(shown, left + 340, 224, {0, 0, 255}, name);
            }
        }
}

TEST_F(MakeStripTest, CountsFromTheDisplayWindowWhateverHasData)
{
    // The display window begins at 1000, -50; data are there for a part of it, and beyond it.
    ImageSpec spec(200, 100, 3, OIIO::TypeHalf);
    spec.full_x = 1000;
    spec.full_y = -50;
    spec.full_width = 400;
    spec.full_height = 300;
    spec.x = 900;
    spec.y = 0;
    WriteImage(m_folder / "a.exr", spec,
               [](int x, int y, int) { return x == 150 && y == 10 ? 1.0f : 0.2f; });
    // In the display window at 50, 60.
    const Shown shown = Make("a.exr", {{50, 60, 1, 1}});
    ExpectMiddle(shown, 1, {255, 255, 255});
    ExpectColour(shown, 480 + k_gap + 200, 240, GreyOf(0.2), "data");
    const Shown outside = Make("a.exr", {{300, 200, 1, 1}});
    ExpectMiddle(outside, 1, {0, 0, 0}, "there are no data");
}

TEST_F(MakeStripTest, TakesThePartThatHasColours)
{
    ImageSpec depth(200, 100, 1, OIIO::TypeFloat);
    depth.channelnames = {"Z"};
    depth.attribute("oiio:subimagename", "depth");
    ImageSpec colours(200, 100, 3, OIIO::TypeHalf);
    colours.attribute("oiio:subimagename", "beauty");
    WriteParts(m_folder / "a.exr", {depth, colours}, Spark(0.1f, 40, 50, 1.0f));
    ExpectMiddle(Make("a.exr", {{40, 50, 1, 1}}), 1, {255, 255, 255});
}

TEST_F(MakeStripTest, ShowsNumbersThatAreNoneInAColourOfTheirOwn)
{
    WriteImage(m_folder / "a.exr", {200, 100, 3, OIIO::TypeFloat},
               Spark(0.1f, 40, 50, std::numeric_limits<float>::quiet_NaN()));
    ExpectMiddle(Make("a.exr", {{40, 50, 1, 1}}), 1, {255, 0, 255});
}

TEST_F(MakeStripTest, StaysBoundedForTheLargestNumbers)
{
    const float most = std::numeric_limits<float>::max();
    WriteImage(m_folder / "a.exr", {640, 640, 3, OIIO::TypeFloat},
               [most](int x, int y, int) { return (x + y) % 2 ? most : -most; });
    ExpectMiddle(Make("a.exr", {{0, 0, 640, 640}, m_folder / "a.exr"}), 1, {0, 0, 0});
}

// Where a corner of the image comes to lie tells how it was turned.
TEST_F(MakeStripTest, TurnsThePlaceAsTheFileSays)
{
    const struct
    {
        int orientation;
        bool isRight;
        bool isBelow;
    } cases[] = {{1, false, false}, {2, true, false}, {3, true, true}, {4, false, true},
                 {5, false, false}, {6, true, false}, {7, true, true}, {8, false, true}};
    for (const auto &[orientation, isRight, isBelow] : cases)
    {
        ImageSpec spec(300, 200, 3, OIIO::TypeHalf);
        spec.attribute("Orientation", orientation);
        WriteImage(m_folder / "a.exr", spec, Spark(0.1f, 0, 0, 1.0f));
        const Shown shown = Make("a.exr", {{0, 0, 16, 8}, m_folder / "a.exr"});
        for (const int left : {0, 480 + k_gap})
            ExpectColour(shown, left + (isRight ? 480 - 8 : 7), isBelow ? 480 - 8 : 7,
                         {255, 255, 255}, std::to_string(orientation));
    }
}

TEST_F(MakeStripTest, IsKnownByWhatItSays)
{
    WriteImage(m_folder / "a.exr", {64, 32, 3, OIIO::TypeHalf});
    const Picture picture = MakeStrip(m_folder / "a.exr", {{0, 0, 9, 9}});
    EXPECT_NE(picture.jpeg.substr(0, k_StripMarkEnd).find(k_StripMark), std::string::npos);
}

TEST_F(MakeStripTest, SaysWhyThereIsNone)
{
    WriteImage(m_folder / "a.exr", {64, 32, 3, OIIO::TypeHalf});
    m_folder.MakeFile("words.exr", "words");
    for (const StripPlace &place : {StripPlace{64, 0, 1, 1}, {0, 32, 1, 1}, {1 << 20, 5, 1, 1}})
    {
        const Picture picture = MakeStrip(m_folder / "a.exr", {place});
        EXPECT_EQ(picture.reason, "the place at " + std::to_string(place.x) + ", " +
                                      std::to_string(place.y) +
                                      " is outside of its 64 x 32 pixels");
    }
    EXPECT_NE(MakeStrip(m_folder / "words.exr", {{0, 0, 1, 1}}).reason, "");
    const Picture gone = MakeStrip(m_folder / "gone.exr", {{0, 0, 1, 1}});
    EXPECT_EQ(gone.trouble, "No such file or directory");
    EXPECT_EQ(gone.reason + gone.jpeg, "");
}
