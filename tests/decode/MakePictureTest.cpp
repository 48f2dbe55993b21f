#include "decode/MakePicture.h"

#include <OpenImageIO/deepdata.h>
#include <OpenImageIO/imagebuf.h>
#include <OpenImageIO/imagebufalgo.h>
#include <OpenImageIO/imageio.h>
#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include "tests/decode/SampleImage.h"
#include "tests/decode/Shown.h"
#include "tests/support/Printing.h"
#include "tests/support/TempFolder.h"

using namespace decode;
using OIIO::ImageSpec;

namespace
{

double Straight(double coded)
{
    return coded <= 0.04045 ? coded / 12.92 : std::pow((coded + 0.055) / 1.055, 2.4);
}

class MakePictureTest : public testing::Test
{
protected:
    Shown Make(const String &name, const PictureWish &wish) const
    {
        const Picture picture = MakePicture(m_folder / name, wish);
        EXPECT_EQ(picture.trouble + picture.reason, "") << name;
        return Unpacked(picture.jpeg, m_folder);
    }

    // The colour in the middle of a picture of a file of one colour.
    void ExpectColour(const String &name, const PictureWish &wish, const std::vector<int> &expected,
                      const std::string &what = {}) const
    {
        const Shown shown = Make(name, wish);
        for (int channel = 0; channel < 3; ++channel)
            EXPECT_NEAR(shown.At(shown.width / 2, shown.height / 2, channel),
                        expected[std::size_t(channel)], 2)
                << name << " " << what << " channel " << channel;
    }

    String Reason(const String &name, const PictureWish &wish = {}) const
    {
        const Picture picture = MakePicture(m_folder / name, wish);
        EXPECT_EQ(picture.trouble, "");
        EXPECT_EQ(picture.jpeg, "");
        return picture.reason;
    }

    TempFolder m_folder;
};

} // namespace

TEST_F(MakePictureTest, ShowsLinearLightByExposureAndTheCurveOfSrgb)
{
    WriteImage(m_folder / "a.exr", {64, 32, 3, OIIO::TypeFloat}, Constant({0.18f, 0.02f, 3.0f}));
    for (const float exposure : {-20.0f, -3.0f, -0.5f, 0.0f, 1.0f, 2.25f, 20.0f})
    {
        PictureWish wish;
        wish.exposure = exposure;
        const double gain = std::pow(2.0, double(exposure));
        ExpectColour("a.exr", wish, {Coded(0.18 * gain), Coded(0.02 * gain), Coded(3.0 * gain)},
                     std::to_string(exposure));
    }
}

TEST_F(MakePictureTest, ShowsEachChannelAsAGrey)
{
    WriteImage(m_folder / "a.exr", {64, 32, 4, OIIO::TypeHalf},
               Constant({0.5f, 0.25f, 0.125f, 0.75f}));
    const int luma = Coded(0.2126 * 0.5 + 0.7152 * 0.25 + 0.0722 * 0.125);
    const struct
    {
        const char *channels;
        std::vector<int> colour;
    } cases[] = {
        {"rgb", {Coded(0.5), Coded(0.25), Coded(0.125)}},
        {"r", {188, 188, 188}},
        {"g", {137, 137, 137}},
        {"b", {99, 99, 99}},
        {"a", {191, 191, 191}}, // As it is, without a curve.
        {"luma", {luma, luma, luma}},
    };
    for (const auto &[channels, colour] : cases)
    {
        PictureWish wish;
        wish.channels = *ParseChannels(channels);
        ExpectColour("a.exr", wish, colour, channels);
    }
}

TEST_F(MakePictureTest, ShowsWholeNumbersAsTheyAreStored)
{
    for (const char *name : {"a.png", "b.png", "a.tif", "b.tif", "a.jpg", "a.tga", "a.dpx"})
    {
        const bool isWide = name[0] == 'b';
        WriteImage(m_folder / name, {64, 32, 3, isWide ? OIIO::TypeUInt16 : OIIO::TypeUInt8},
                   Constant({0.2f, 0.5f, 0.9f}));
        ExpectColour(name, {}, {51, 128, 230});
        PictureWish brighter;
        brighter.exposure = 1.0f;
        ExpectColour(name, brighter, {Coded(2 * Straight(0.2)), Coded(2 * Straight(0.5)), 255});
    }
}

TEST_F(MakePictureTest, TakesAFilesWordForItsCurve)
{
    ImageSpec spec(64, 32, 3, OIIO::TypeUInt16);
    spec.attribute("oiio:ColorSpace", "GammaCorrected");
    spec.attribute("oiio:Gamma", 1.8f);
    WriteImage(m_folder / "a.png", spec, Constant({0.2f, 0.5f, 0.9f}));
    const auto coded = [](double value) { return Coded(std::pow(value, 1.8)); };
    ExpectColour("a.png", {}, {coded(0.2), coded(0.5), coded(0.9)});
}

TEST_F(MakePictureTest, LaysWhatIsTransparentOverBlack)
{
    // The format stores colours that are not multiplied by their alpha.
    ImageSpec spec(64, 32, 4, OIIO::TypeUInt8);
    spec.attribute("oiio:UnassociatedAlpha", 1);
    WriteImage(m_folder / "a.png", spec, Constant({0.8f, 0.6f, 0.2f, 0.5f}));
    const auto halved = [](double value) { return Coded(Straight(value) / 2); };
    ExpectColour("a.png", {}, {halved(0.8), halved(0.6), halved(0.2)});

    WriteImage(m_folder / "a.exr", {64, 32, 4, OIIO::TypeHalf},
               Constant({0.5f, 0.25f, 0.125f, 0.25f}));
    ExpectColour("a.exr", {}, {Coded(0.5), Coded(0.25), Coded(0.125)}, "multiplied already");
}

TEST_F(MakePictureTest, TakesAnImageWithoutAlphaForOpaque)
{
    PictureWish wish;
    wish.channels = PictureChannels::Alpha;
    WriteImage(m_folder / "a.exr", {64, 32, 3, OIIO::TypeHalf}, Constant({0.5f, 0.25f, 0.1f}));
    ExpectColour("a.exr", wish, {255, 255, 255});
    WriteImage(m_folder / "a.jpg", {64, 32, 1, OIIO::TypeUInt8}, Constant({0.5f}));
    ExpectColour("a.jpg", wish, {255, 255, 255});
}

TEST_F(MakePictureTest, ShowsOneValueAPixelAsAGrey)
{
    ImageSpec depth(64, 32, 1, OIIO::TypeFloat);
    depth.channelnames = {"Z"};
    WriteImage(m_folder / "a.exr", depth, Constant({8.0f}));
    PictureWish wish;
    wish.exposure = -4.0f;
    for (const PictureChannels channels :
         {PictureChannels::Rgb, PictureChannels::Green, PictureChannels::Luma})
    {
        wish.channels = channels;
        ExpectColour("a.exr", wish, {188, 188, 188});
    }
}

TEST_F(MakePictureTest, ShowsTheLayerAndThePartThatHaveColours)
{
    ImageSpec layers(64, 32, 5, OIIO::TypeFloat);
    layers.channelnames = {"depth.Z", "beauty.B", "beauty.A", "beauty.G", "beauty.R"};
    const auto byName = [](const ImageSpec &spec)
    {
        return [names = spec.channelnames](int, int, int channel)
        {
            const char leaf = names.at(std::size_t(channel)).back();
            return leaf == 'R' ? 0.5f : leaf == 'G' ? 0.25f : leaf == 'B' ? 0.125f : 1.0f;
        };
    };
    WriteImage(m_folder / "a.exr", layers, byName(layers));
    ExpectColour("a.exr", {}, {188, 137, 99});

    ImageSpec depth(64, 32, 1, OIIO::TypeFloat);
    depth["oiio:subimagename"] = "depth";
    depth.channelnames = {"Z"};
    ImageSpec colour(64, 32, 3, OIIO::TypeHalf);
    colour["oiio:subimagename"] = "colour";
    WriteParts(m_folder / "b.exr", {depth, colour}, Constant({0.5f, 0.25f, 0.125f}));
    ExpectColour("b.exr", {}, {188, 137, 99});
}

TEST_F(MakePictureTest, MakesAPictureNoLargerThanWishedAndKeepsProportions)
{
    const struct
    {
        int width;
        int height;
        int wish;
        int shownWidth;
        int shownHeight;
    } cases[] = {
        {1920, 108, 256, 256, 14}, {100, 50, 256, 100, 50}, {300, 200, 300, 300, 200},
        {17, 400, 16, 16, 376},    {1000, 3, 16, 16, 1},    {20, 9000, 4096, 9, 4096},
    };
    for (const auto &[width, height, wish, shownWidth, shownHeight] : cases)
    {
        WriteImage(m_folder / "a.exr", {width, height, 3, OIIO::TypeHalf},
                   Constant({0.5f, 0.5f, 0.5f}));
        PictureWish asked;
        asked.width = wish;
        const Shown shown = Make("a.exr", asked);
        EXPECT_EQ(shown.width, shownWidth) << width << " x " << height;
        EXPECT_EQ(shown.height, shownHeight) << width << " x " << height;
        for (const int y : {0, shown.height / 2, shown.height - 1})
            EXPECT_NEAR(shown.At(shown.width - 1, y, 0), 188, 2) << width << " x " << height;
    }
}

TEST_F(MakePictureTest, ShowsTheMeanOfEachArea)
{
    // In linear light: the mean of black and white is 188 and not 128.
    const auto stripes = [](int x, int, int) { return x % 2 ? 1.0f : 0.0f; };
    for (const ImageSpec &spec :
         {ImageSpec(256, 128, 3, OIIO::TypeHalf), Tiled(ImageSpec(256, 128, 3, OIIO::TypeHalf))})
    {
        WriteImage(m_folder / "a.exr", spec, stripes);
        PictureWish wish;
        wish.width = 64;
        ExpectColour("a.exr", wish, {188, 188, 188});
    }
}

TEST_F(MakePictureTest, ShowsWhatTheLibrarysOwnBoxFilterShows)
{
    for (const char *name : {"a.exr", "b.exr", "a.tif", "b.tif"})
    {
        const ImageSpec plain(640, 300, 3, OIIO::TypeFloat);
        WriteImage(m_folder / name, name[0] == 'b' ? Tiled(plain) : plain);
        OIIO::ImageBuf image((m_folder / name).Text());
        OIIO::ImageBuf small =
            OIIO::ImageBufAlgo::resize(image, "box", 0.0f, OIIO::ROI(0, 160, 0, 75, 0, 1, 0, 3));
        PictureWish wish;
        wish.width = 160;
        wish.exposure = -1.0f;
        const Shown shown = Make(name, wish);
        ASSERT_EQ(shown.height, 75);
        for (int y = 0; y < 75; ++y)
            for (int x = 0; x < 160; ++x)
                for (int channel = 0; channel < 3; ++channel)
                    ASSERT_NEAR(shown.At(x, y, channel),
                                Coded(double(small.getchannel(x, y, 0, channel)) / 2), 6)
                        << name << " " << x << "," << y;
    }
}

TEST_F(MakePictureTest, ShowsTheDisplayWindow)
{
    ImageSpec spec(32, 16, 3, OIIO::TypeHalf);
    spec.x = 40;
    spec.y = 20;
    spec.full_x = 8;
    spec.full_y = 4;
    spec.full_width = 96;
    spec.full_height = 48;
    WriteImage(m_folder / "a.exr", spec, Constant({0.5f, 0.5f, 0.5f}));
    const Shown shown = Make("a.exr", {});
    ASSERT_EQ(shown.width, 96);
    ASSERT_EQ(shown.height, 48);
    EXPECT_NEAR(shown.At(48, 24, 0), 188, 2) << "in its middle third";
    for (const auto &[x, y] : {std::pair(16, 24), {80, 24}, {48, 6}, {48, 42}})
        EXPECT_NEAR(shown.At(x, y, 0), 0, 2) << x << "," << y;

    spec.x = -24; // Beyond all sides of the display window.
    spec.y = -12;
    spec.width = 200;
    spec.height = 100;
    const auto left = [](int x, int y, int) { return x < 32 + 48 && y < 16 + 24 ? 0.5f : 0.0f; };
    WriteImage(m_folder / "a.exr", spec, left);
    const Shown inner = Make("a.exr", {});
    ASSERT_EQ(inner.width, 96);
    EXPECT_NEAR(inner.At(20, 10, 0), 188, 2);
    EXPECT_NEAR(inner.At(70, 10, 0), 0, 2);
    EXPECT_NEAR(inner.At(20, 40, 0), 0, 2);

    spec.x = 5000; // Beside it.
    WriteImage(m_folder / "a.exr", spec, Constant({0.5f, 0.5f, 0.5f}));
    ExpectColour("a.exr", {}, {0, 0, 0});
}

TEST_F(MakePictureTest, MarksValuesThatAreNoNumbersAndNothingAroundThem)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float infinity = std::numeric_limits<float>::infinity();
    for (const float wild : {nan, infinity, -infinity})
    {
        const auto value = [wild](int x, int y, int channel)
        { return x == 100 && y == 60 && channel == 1 ? wild : 0.5f; };
        for (const ImageSpec &spec :
             {ImageSpec(640, 320, 4, OIIO::TypeHalf), Tiled({640, 320, 4, OIIO::TypeFloat})})
        {
            WriteImage(m_folder / "a.exr", spec, value);
            PictureWish wish;
            wish.width = 64;
            Shown shown = Make("a.exr", wish);
            EXPECT_GT(shown.At(10, 6, 0), 200);
            EXPECT_LT(shown.At(10, 6, 1), 80);
            EXPECT_GT(shown.At(10, 6, 2), 200);
            EXPECT_NEAR(shown.At(40, 20, 1), 188, 2);

            wish.channels = PictureChannels::Red;
            shown = Make("a.exr", wish);
            EXPECT_NEAR(shown.At(10, 6, 1), 188, 2) << "it is in another channel";
        }
    }
}

TEST_F(MakePictureTest, StaysBoundedForTheLargestNumbers)
{
    const float most = std::numeric_limits<float>::max();
    const auto opposed = [most](int x, int, int) { return x % 2 ? most : -most; };
    WriteImage(m_folder / "a.exr", {64, 32, 3, OIIO::TypeFloat}, opposed);
    PictureWish wish;
    wish.width = 16;
    wish.exposure = 20.0f;
    ExpectColour("a.exr", wish, {0, 0, 0});
    WriteImage(m_folder / "a.exr", {64, 32, 3, OIIO::TypeFloat}, Constant({most, -most, 1.0f}));
    ExpectColour("a.exr", wish, {255, 0, 255});
}

TEST_F(MakePictureTest, ShowsTheDifferenceToAnotherFrame)
{
    WriteImage(m_folder / "a.exr", {64, 32, 3, OIIO::TypeFloat}, Constant({0.5f, 0.1f, 0.3f}));
    WriteImage(m_folder / "b.exr", {64, 32, 3, OIIO::TypeFloat}, Constant({0.25f, 0.35f, 0.3f}));
    PictureWish wish;
    wish.minus = m_folder / "b.exr";
    ExpectColour("a.exr", wish, {Coded(0.25), Coded(0.25), 0});
    wish.exposure = 1.0f;
    ExpectColour("a.exr", wish, {188, 188, 0});
    wish.channels = PictureChannels::Red;
    ExpectColour("a.exr", wish, {188, 188, 188});

    wish = {};
    wish.minus = m_folder / "a.exr";
    ExpectColour("a.exr", wish, {0, 0, 0}, "itself");
}

TEST_F(MakePictureTest, HidesNoDifferenceInAMean)
{
    const auto stripes = [](int phase)
    { return [phase](int x, int, int) { return (x + phase) % 2 ? 0.5f : 0.0f; }; };
    WriteImage(m_folder / "a.exr", {256, 128, 3, OIIO::TypeHalf}, stripes(0));
    WriteImage(m_folder / "b.exr", {256, 128, 3, OIIO::TypeHalf}, stripes(1));
    PictureWish wish;
    wish.width = 64;
    wish.minus = m_folder / "b.exr";
    ExpectColour("a.exr", wish, {188, 188, 188});
}

TEST_F(MakePictureTest, SaysWhyThereIsNoDifference)
{
    WriteImage(m_folder / "a.exr", {64, 32, 3, OIIO::TypeHalf});
    WriteImage(m_folder / "b.exr", {32, 32, 3, OIIO::TypeHalf});
    m_folder.MakeFile("c.exr", "words");
    PictureWish wish;
    wish.minus = m_folder / "b.exr";
    EXPECT_EQ(Reason("a.exr", wish), "it has 64 x 32 pixels, and the other frame 32 x 32");
    wish.minus = m_folder / "c.exr";
    EXPECT_TRUE(Reason("a.exr", wish).starts_with("the other frame: "));
    wish.minus = m_folder / "gone.exr";
    EXPECT_EQ(MakePicture(m_folder / "a.exr", wish).trouble, "No such file or directory");
}

TEST_F(MakePictureTest, TakesTheSmallestCopyThatIsLargeEnough)
{
    // Each level of another brightness, so that it is seen which was read.
    ImageSpec spec = Tiled({512, 256, 3, OIIO::TypeHalf});
    spec.attribute("textureformat", "Plain Texture");
    spec.attribute("openexr:levelmode", 1);
    spec.attribute("openexr:roundingmode", 0);
    const String name = (m_folder / "a.exr").Text();
    const auto file = OIIO::ImageOutput::create(name);
    ASSERT_TRUE(file && file->open(name, spec)) << OIIO::geterror();
    for (int level = 0; (512 >> level) >= 1; ++level)
    {
        ImageSpec smaller = spec;
        smaller.width = smaller.full_width = std::max(512 >> level, 1);
        smaller.height = smaller.full_height = std::max(256 >> level, 1);
        ASSERT_TRUE(level == 0 || file->open(name, smaller, OIIO::ImageOutput::AppendMIPLevel))
            << file->geterror();
        const std::vector<float> pixels(smaller.image_pixels() * 3, std::exp2(-float(level)));
        ASSERT_TRUE(file->write_image(OIIO::TypeFloat, pixels.data())) << file->geterror();
    }
    ASSERT_TRUE(file->close());
    const struct
    {
        int width;
        int level;
    } cases[] = {{512, 0}, {300, 0}, {256, 1}, {129, 1}, {128, 2}, {16, 5}};
    for (const auto &[width, level] : cases)
    {
        PictureWish wish;
        wish.width = width;
        const int value = Coded(std::exp2(-level));
        ExpectColour("a.exr", wish, {value, value, value}, std::to_string(width));
        EXPECT_EQ(Make("a.exr", wish).width, width);
    }
}

TEST_F(MakePictureTest, LaysDeepSamplesOverEachOther)
{
    ImageSpec spec(16, 16, 5, OIIO::TypeFloat);
    spec.deep = true;
    spec.channelnames = {"R", "G", "B", "A", "Z"};
    OIIO::DeepData data(spec);
    for (std::int64_t pixel = 0; pixel < data.pixels(); ++pixel)
    {
        data.set_samples(pixel, 2);
        const float samples[2][5] = {{0.0f, 0.5f, 0.0f, 1.0f, 9.0f},
                                     {0.5f, 0.0f, 0.0f, 0.5f, 1.0f}};
        for (int i = 0; i < 2; ++i)
            for (int channel = 0; channel < 5; ++channel)
                data.set_deep_value(pixel, channel, i, samples[i][channel]);
    }
    const String name = (m_folder / "a.exr").Text();
    const auto file = OIIO::ImageOutput::create(name);
    ASSERT_TRUE(file && file->open(name, spec) && file->write_deep_image(data));
    ASSERT_TRUE(file->close());
    ExpectColour("a.exr", {}, {Coded(0.5), Coded(0.25), 0});
}

TEST_F(MakePictureTest, SaysWhyAFileCannotBeShown)
{
    EXPECT_NE(Reason(m_folder.MakeFile("a.exr", "words").Leaf(true)), "");
    EXPECT_EQ(Reason(m_folder.MakeFile("a.txt", "words").Leaf(true)), "no known image format");
    EXPECT_EQ(Reason(m_folder.MakeFile("b.exr").Leaf(true)), "the file is empty");
    for (const char *name : {"c.exr", "c.png", "c.jpg", "c.tif"})
    {
        WriteImage(m_folder / name, {640, 300, 3, OIIO::TypeUInt8});
        const std::string content = ContentOf(m_folder / name);
        m_folder.MakeFile(name, content.substr(0, content.size() / 2));
        EXPECT_NE(Reason(name), "") << name;
    }
    ImageSpec huge(16, 16, 3, OIIO::TypeHalf);
    huge.full_width = 1 << 20;
    huge.full_height = 16;
    WriteImage(m_folder / "d.exr", huge);
    EXPECT_EQ(Reason("d.exr"), "1048576 x 16 pixels are more than can be shown");
}

TEST_F(MakePictureTest, BlamesNoFileForADiskThatDoesNotGiveIt)
{
    for (const char *path : {"/no/such/file.exr", "/proc/self/mem"})
    {
        const Picture picture = MakePicture(path, {});
        EXPECT_NE(picture.trouble, "") << path;
        EXPECT_EQ(picture.reason, "") << path;
    }
}

// A corner of each colour: where they are tells how the image was turned.
TEST_F(MakePictureTest, TurnsAndMirrorsAsTheFileSays)
{
    const auto corners = [](int x, int y, int channel)
    {
        const int corner = (x < 32 ? 0 : 1) + (y < 16 ? 0 : 2); // Red, green, blue, white.
        return corner == 3 || corner == channel ? 1.0f : 0.0f;
    };
    const struct
    {
        int orientation;
        std::string corners; // Of the picture: above left and right, below left and right.
        bool isOnItsSide;
    } cases[] = {
        {1, "rgbw", false}, {2, "grwb", false}, {3, "wbgr", false}, {4, "bwrg", false},
        {5, "rbgw", true},  {6, "brwg", true},  {7, "wgbr", true},  {8, "gwrb", true},
        {0, "rgbw", false}, {9, "rgbw", false},
    };
    for (const char *name : {"a.tif", "a.jpg", "a.exr"})
        for (const auto &[orientation, expected, isOnItsSide] : cases)
        {
            const bool isNonsense = orientation < 1 || orientation > 8;
            if (isNonsense && String(name) != "a.exr")
                continue; // Written as no orientation at all.
            ImageSpec spec(64, 32, 3, OIIO::TypeUInt8);
            if (String(name) == "a.exr")
                spec.set_format(OIIO::TypeHalf);
            spec.attribute("Orientation", orientation);
            WriteImage(m_folder / name, spec, corners);
            const Shown shown = Make(name, {});
            EXPECT_EQ(shown.width, isOnItsSide ? 32 : 64) << name << " " << orientation;
            EXPECT_EQ(shown.height, isOnItsSide ? 64 : 32) << name << " " << orientation;
            std::string found;
            for (const auto &[x, y] :
                 {std::pair(4, 4), std::pair(shown.width - 5, 4), std::pair(4, shown.height - 5),
                  std::pair(shown.width - 5, shown.height - 5)})
            {
                const bool isRed = shown.At(x, y, 0) > 128;
                const bool isGreen = shown.At(x, y, 1) > 128;
                found += isRed && isGreen ? 'w' : isRed ? 'r' : isGreen ? 'g' : 'b';
            }
            EXPECT_EQ(found, expected) << name << " " << orientation;
        }
}

TEST_F(MakePictureTest, HasPixelsAsWideAsTheFileSays)
{
    const struct
    {
        float aspect;
        int orientation;
        int wish;
        int width;
        int height;
    } cases[] = {
        {1.0f, 1, 256, 64, 32}, {2.0f, 1, 256, 64, 16}, {2.0f, 1, 32, 32, 8},
        {0.5f, 1, 256, 32, 32}, {2.0f, 6, 256, 16, 64}, {2.0f, 6, 8 + 8, 16, 64},
        {1e5f, 1, 256, 64, 32}, // Nonsense; the library takes no other.
    };
    for (const auto &[aspect, orientation, wish, width, height] : cases)
    {
        ImageSpec spec(64, 32, 3, OIIO::TypeHalf);
        spec.attribute("PixelAspectRatio", aspect);
        spec.attribute("Orientation", orientation);
        WriteImage(m_folder / "a.exr", spec);
        PictureWish wanted;
        wanted.width = wish;
        const Shown shown = Make("a.exr", wanted);
        EXPECT_EQ(shown.width, width) << aspect << " " << orientation << " " << wish;
        EXPECT_EQ(shown.height, height) << aspect << " " << orientation << " " << wish;
    }
}

TEST_F(MakePictureTest, SubtractsNothingThatIsTurnedOtherwise)
{
    ImageSpec spec(32, 32, 3, OIIO::TypeHalf);
    WriteImage(m_folder / "a.exr", spec);
    spec.attribute("Orientation", 6);
    WriteImage(m_folder / "b.exr", spec);
    PictureWish wish;
    wish.minus = m_folder / "b.exr";
    EXPECT_EQ(Reason("a.exr", wish), "it is turned otherwise than the other frame");
}
