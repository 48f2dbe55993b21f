#include "decode/DecodeImage.h"

#include <OpenImageIO/deepdata.h>
#include <OpenImageIO/imageio.h>
#include <limits>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/decode/SampleImage.h"
#include "tests/support/Printing.h"
#include "tests/support/TempFolder.h"

using namespace decode;
using OIIO::ImageSpec;
using ostrel::Path;

namespace
{

class DecodeImageTest : public testing::Test
{
protected:
    ImageReport Decoded(const String &name, const ImageSpec &spec,
                        const PixelValue &value = WavyPixel)
    {
        WriteImage(m_folder / name, spec, value);
        return DecodeImage(m_folder / name);
    }

    TempFolder m_folder;
};

float NoNumberAtOnePlace(int x, int y, int channel)
{
    if (channel == 2 && x == 3 && (y == 1 || y == 299))
        return y == 1 ? std::numeric_limits<float>::quiet_NaN()
                      : -std::numeric_limits<float>::infinity();
    return WavyPixel(x, y, channel);
}

} // namespace

TEST_F(DecodeImageTest, TellsSizeChannelsAndFormatOfASoundFile)
{
    const struct
    {
        const char *name;
        const char *format;
        ImageSpec spec;
        const char *channels;
    } cases[] = {
        {"a.exr", "openexr", {70, 300, 4, OIIO::TypeHalf}, "R,G,B,A"},
        {"b.exr", "openexr", Tiled({100, 300, 3, OIIO::TypeFloat}), "R,G,B"},
        {"a.png", "png", {70, 300, 4, OIIO::TypeUInt16}, "R,G,B,A"},
        {"a.jpg", "jpeg", {70, 300, 3, OIIO::TypeUInt8}, "R,G,B"},
        {"a.tif", "tiff", {70, 300, 1, OIIO::TypeUInt8}, "Y"},
        {"b.tif", "tiff", Tiled({100, 300, 3, OIIO::TypeFloat}), "R,G,B"},
        {"a.dpx", "dpx", {70, 300, 3, OIIO::TypeUInt16}, "R,G,B"},
        {"a.tga", "targa", {70, 300, 3, OIIO::TypeUInt8}, "R,G,B"},
    };
    for (const auto &[name, format, spec, channels] : cases)
    {
        ImageReport expected;
        expected.format = expected.formatByName = format;
        expected.width = spec.width;
        expected.height = spec.height;
        expected.channels = channels;
        expected.pixels = spec.image_pixels();
        EXPECT_EQ(Decoded(name, spec), expected) << name;
    }
}

TEST_F(DecodeImageTest, TakesTheSizeOfTheDisplayWindow)
{
    ImageSpec spec(32, 16, 3, OIIO::TypeHalf);
    spec.x = -4;
    spec.y = 10;
    spec.full_width = 1920;
    spec.full_height = 1080;
    const ImageReport report = Decoded("a.exr", spec);
    EXPECT_EQ(report.reason, "");
    EXPECT_EQ(report.width, 1920);
    EXPECT_EQ(report.height, 1080);
    EXPECT_EQ(report.pixels, 32u * 16u);
}

TEST_F(DecodeImageTest, FindsValuesThatAreNoNumbersInAnyPlace)
{
    for (const ImageSpec &spec :
         {ImageSpec(100, 300, 3, OIIO::TypeHalf), Tiled(ImageSpec(100, 300, 3, OIIO::TypeFloat))})
    {
        const ImageReport report = Decoded("a.exr", spec, NoNumberAtOnePlace);
        EXPECT_EQ(report.nanPixels, 1u);
        EXPECT_EQ(report.infinitePixels, 1u);
        EXPECT_EQ(report.wildChannels, "B");
    }
}

TEST_F(DecodeImageTest, FindsTheOneColourOfAllPixels)
{
    const auto grey = [](int, int, int channel) { return channel == 3 ? 1.0f : 0.25f; };
    EXPECT_EQ(Decoded("a.exr", {70, 300, 4, OIIO::TypeHalf}, grey).colour, "0.25, 0.25, 0.25, 1");
    EXPECT_EQ(Decoded("a.png", {70, 300, 3, OIIO::TypeUInt8}, grey).colour, "64, 64, 64");

    const auto spot = [](int x, int y, int) { return x == 69 && y == 299 ? 1.0f : 0.0f; };
    EXPECT_EQ(Decoded("a.exr", {70, 300, 4, OIIO::TypeHalf}, spot).colour, "");
}

TEST_F(DecodeImageTest, ReadsEveryPartOfAFile)
{
    ImageSpec colour(40, 30, 3, OIIO::TypeHalf);
    colour["oiio:subimagename"] = "colour";
    ImageSpec depth(40, 30, 1, OIIO::TypeFloat);
    depth["oiio:subimagename"] = "depth";
    depth.channelnames = {"Z"};
    const auto value = [](int x, int, int channel)
    { return channel == 0 && x == 5 ? std::numeric_limits<float>::infinity() : 0.0f; };
    WriteParts(m_folder / "a.exr", {colour, depth}, value);

    const ImageReport report = DecodeImage(m_folder / "a.exr");
    EXPECT_EQ(report.reason, "");
    EXPECT_EQ(report.channels, "R,G,B + Z");
    EXPECT_EQ(report.pixels, 2u * 40u * 30u);
    EXPECT_EQ(report.infinitePixels, 2u * 30u);
    EXPECT_EQ(report.wildChannels, "R,Z");

    const std::string content = ContentOf(m_folder / "a.exr");
    m_folder.MakeFile("a.exr", content.substr(0, content.size() - 1));
    EXPECT_NE(DecodeImage(m_folder / "a.exr").reason, "") << "only the last part is cut";
}

TEST_F(DecodeImageTest, ReadsDeepFiles)
{
    ImageSpec spec(8, 4, 2, OIIO::TypeFloat);
    spec.deep = true;
    spec.channelnames = {"A", "Z"};
    const auto write = [&](const String &name, const OIIO::DeepData &data)
    {
        const auto file = OIIO::ImageOutput::create(name);
        ASSERT_TRUE(file && file->open(name, spec) && file->write_deep_image(data));
        ASSERT_TRUE(file->close());
    };
    OIIO::DeepData data(spec);
    const Path path = m_folder / "a.exr";
    write(path.Text(), data);
    EXPECT_EQ(DecodeImage(path).reason, "") << "without one sample";

    data.set_samples(3, 2);
    data.set_deep_value(3, 1, 1, std::numeric_limits<float>::quiet_NaN());
    write(path.Text(), data);
    const ImageReport report = DecodeImage(path);
    EXPECT_EQ(report.reason, "");
    EXPECT_EQ(report.width, 8);
    EXPECT_EQ(report.nanPixels, 1u);
    EXPECT_EQ(report.wildChannels, "Z");
}

TEST_F(DecodeImageTest, ReadsAFileThatIsNotWhatItsNameSays)
{
    WriteImage(m_folder / "good.png", {40, 30, 3, OIIO::TypeUInt8});
    for (const char *name : {"a.exr", "a.jpg", "a.tif", "a.dpx", "a.tga", "a.mov", "a.unknown"})
    {
        const Path path = m_folder.MakeFile(name, ContentOf(m_folder / "good.png"));
        const ImageReport report = DecodeImage(path);
        EXPECT_EQ(report.reason, "") << name;
        EXPECT_EQ(report.format, "png") << name;
        EXPECT_NE(report.formatByName, "png") << name;
    }
}

TEST_F(DecodeImageTest, SaysWhyThereIsNothingToRead)
{
    EXPECT_EQ(DecodeImage(m_folder.MakeFile("a.exr")).reason, "the file is empty");
    EXPECT_EQ(DecodeImage(m_folder.MakeFile("a.txt", "words")).reason, "no known image format");
    EXPECT_NE(DecodeImage(m_folder.MakeFile("b.exr", "words")).reason, "");
    EXPECT_NE(DecodeImage(m_folder.MakeFile("b.null", "words")).reason, "");
}

TEST_F(DecodeImageTest, BlamesNoFileForADiskThatDoesNotGiveIt)
{
    const struct
    {
        ostrel::Path path;
        const char *trouble;
    } cases[] = {
        {m_folder / "gone.exr", "No such file or directory"},
        {"/proc/self/mem", "Input/output error"}, // Opens, and cannot be read from its beginning.
        {m_folder.Folder(), "Is a directory"},
    };
    for (const auto &[path, trouble] : cases)
    {
        const ImageReport report = DecodeImage(path);
        EXPECT_EQ(report.trouble, trouble);
        EXPECT_EQ(report.reason, "") << trouble;
    }
}
