#include <OpenImageIO/deepdata.h>
#include <OpenImageIO/imageio.h>
#include <cstdlib>

#include <gtest/gtest.h>

#include "decode/DecodeImage.h"
#include "tests/decode/SampleImage.h"
#include "tests/decode/SlowMeasures.h"
#include "tests/support/Printing.h"
#include "tests/support/TempFolder.h"

using namespace decode;
using OIIO::ImageSpec;

namespace
{

class MeasuredImageTest : public testing::Test
{
protected:
    ImageReport Measured(const String &name)
    {
        return DecodeImage(m_folder / name, ReportDepth::Measured);
    }

    ImageReport Measured(const String &name, const ImageSpec &spec,
                         const PixelValue &value = WavyPixel)
    {
        WriteImage(m_folder / name, spec, value);
        return Measured(name);
    }

    TempFolder m_folder;
};

ImageSpec Packed(ImageSpec spec, const char *compression)
{
    spec["compression"] = compression;
    return spec;
}

// One channel up and the others as they were.
float NearlyWavyPixel(int x, int y, int channel)
{
    return WavyPixel(x, y, channel) + (x == 69 && y == 79 && channel == 0 ? 0.05f : 0.0f);
}

std::vector<double> WavyValues(const ImageSpec &spec)
{
    std::vector<double> values;
    for (int y = 0; y < spec.height; ++y)
        for (int x = 0; x < spec.width; ++x)
            for (int channel = 0; channel < spec.nchannels; ++channel)
                values.push_back(double(WavyPixel(x, y, channel)));
    return values;
}

} // namespace

TEST_F(MeasuredImageTest, MeasuresEveryFormat)
{
    const struct
    {
        const char *name;
        ImageSpec spec;
        int levelSteps; // By which a level may be beside that of the values before they were
                        // stored.
    } cases[] = {
        {"a.exr", Packed({70, 80, 4, OIIO::TypeHalf}, "zip"), 4},
        {"b.exr", Packed({70, 80, 3, OIIO::TypeFloat}, "piz"), 1},
        {"c.exr", Tiled({70, 80, 3, OIIO::TypeFloat}), 1},
        {"a.png", {70, 80, 3, OIIO::TypeUInt8}, 20},
        {"b.png", {70, 80, 3, OIIO::TypeUInt16}, 20},
        {"a.jpg", {70, 80, 3, OIIO::TypeUInt8}, 80},
        {"a.tif", Packed({70, 80, 3, OIIO::TypeUInt16}, "zip"), 20},
        {"b.tif", Packed(Tiled({70, 80, 3, OIIO::TypeFloat}), "zip"), 1},
        {"c.tif", Packed({70, 80, 1, OIIO::TypeUInt8}, "lzw"), 20},
        {"a.dpx", {70, 80, 3, OIIO::TypeUInt16}, 20},
        {"a.tga", {70, 80, 3, OIIO::TypeUInt8}, 20},
    };
    for (const auto &[name, spec, levelSteps] : cases)
    {
        SCOPED_TRACE(name);
        ImageReport measured = Measured(name, spec);
        ASSERT_EQ(measured.reason, "");
        const PictureMeasures slow = MeasureSlowly(spec, WavyValues(spec));
        ASSERT_EQ(measured.measures.tiles.size(), slow.tiles.size());
        for (std::size_t i = 0; i < slow.tiles.size(); ++i)
            EXPECT_NEAR(measured.measures.tiles[i].level, slow.tiles[i].level, levelSteps) << i;
        EXPECT_NE(measured.measures.hash, 0u);

        measured.measures = {};
        EXPECT_EQ(measured, DecodeImage(m_folder / name)) << "the rest is as without";
    }
}

TEST_F(MeasuredImageTest, TellsEqualPicturesByTheirHash)
{
    const struct
    {
        const char *extension;
        ImageSpec spec;
    } cases[] = {
        {"png", {70, 80, 3, OIIO::TypeUInt8}},
        {"png", {70, 80, 3, OIIO::TypeUInt16}},
        {"tif", Packed(Tiled({70, 80, 3, OIIO::TypeUInt16}), "zip")},
        {"exr", {70, 80, 4, OIIO::TypeHalf}},
        {"dpx", {70, 80, 3, OIIO::TypeUInt16}},
    };
    for (const auto &[extension, spec] : cases)
    {
        ImageSpec other = spec;
        other["DateTime"] = "2001:01:01 01:01:01"; // No matter of the picture.
        const auto name = [ending = String(".") + extension](const char *stem)
        { return String(stem) + ending; };
        const std::uint64_t hash = Measured(name("a"), spec).measures.hash;
        EXPECT_EQ(Measured(name("b"), other).measures.hash, hash) << extension;
        EXPECT_NE(Measured(name("c"), spec, NearlyWavyPixel).measures.hash, hash) << extension;
    }
    EXPECT_EQ(Measured("zip.exr", Packed({70, 80, 3, OIIO::TypeHalf}, "zip")).measures.hash,
              Measured("piz.exr", Packed({70, 80, 3, OIIO::TypeHalf}, "piz")).measures.hash);
}

TEST_F(MeasuredImageTest, TellsPixelsThatHaveMovedByTheirHash)
{
    ImageSpec spec(40, 30, 3, OIIO::TypeHalf);
    spec.full_width = 70;
    spec.full_height = 80;
    const std::uint64_t hash = Measured("a.exr", spec).measures.hash;
    EXPECT_EQ(Measured("b.exr", spec).measures.hash, hash);
    for (int ImageSpec::*const number :
         {&ImageSpec::x, &ImageSpec::y, &ImageSpec::full_x, &ImageSpec::full_y,
          &ImageSpec::full_width, &ImageSpec::full_height})
    {
        ImageSpec moved = spec;
        moved.*number += 5;
        // The pixels themselves are as they were.
        EXPECT_NE(Measured("c.exr", moved).measures.hash, hash) << moved.x << ' ' << moved.y;
    }
}

TEST_F(MeasuredImageTest, MeasuresTheFirstPartAndHashesAll)
{
    ImageSpec colour(40, 30, 3, OIIO::TypeHalf);
    colour["oiio:subimagename"] = "colour";
    ImageSpec depth(40, 30, 1, OIIO::TypeFloat);
    depth["oiio:subimagename"] = "depth";
    depth.channelnames = {"Z"};
    WriteParts(m_folder / "a.exr", {colour, depth});
    depth.height = 29; // Only the second part has one row less.
    WriteParts(m_folder / "b.exr", {colour, depth});
    ImageReport one = Measured("a.exr");
    ImageReport other = Measured("b.exr");
    ASSERT_FALSE(one.measures.tiles.empty());
    EXPECT_NE(one.measures.hash, other.measures.hash);
    other.measures.hash = one.measures.hash;
    EXPECT_EQ(one.measures, other.measures);
    EXPECT_EQ(one.measures.height, 30);
}

// The hash of an image whose channels are stored in several types.
TEST_F(MeasuredImageTest, TellsEachPixelOfChannelsOfSeveralTypes)
{
    ImageSpec spec(70, 80, 4, OIIO::TypeFloat);
    spec.channelnames = {"R", "G", "B", "Z"};
    spec.channelformats = {OIIO::TypeHalf, OIIO::TypeHalf, OIIO::TypeHalf, OIIO::TypeFloat};
    const std::uint64_t hash = Measured("a.exr", spec).measures.hash;
    EXPECT_EQ(Measured("b.exr", spec).measures.hash, hash);
    EXPECT_NE(Measured("c.exr", spec, NearlyWavyPixel).measures.hash, hash) << "the last pixel";
}

// By what is seen of it.
TEST_F(MeasuredImageTest, MeasuresADeepImageAsOneWhoseSamplesAreLaidOverEachOther)
{
    ImageSpec spec(70, 80, 5, OIIO::TypeFloat);
    spec.deep = true;
    spec.channelnames = {"R", "G", "B", "A", "Z"};
    spec.alpha_channel = 3;
    const auto write = [&](const char *name, float behind)
    {
        OIIO::DeepData data(spec);
        for (std::int64_t pixel = 0; pixel < data.pixels(); ++pixel)
        {
            const auto [y, x] = std::div(int(pixel), spec.width);
            data.set_samples(pixel, x < 5 ? 0 : 3);
            // The nearest one last, and one behind that nobody sees.
            const float samples[3][5] = {{behind, behind, behind, 1, 9},
                                         {WavyPixel(x, y, 0), 0.3f, 0.2f, 1, 5},
                                         {0.25f, 0, 0, 0.5f, 1}};
            for (int i = 0; i < data.samples(pixel); ++i)
                for (int channel = 0; channel < 5; ++channel)
                    data.set_deep_value(pixel, channel, i, samples[i][channel]);
        }
        const String path = (m_folder / name).Text();
        const auto file = OIIO::ImageOutput::create(path);
        ASSERT_TRUE(file && file->open(path, spec) && file->write_deep_image(data) &&
                    file->close());
    };
    write("deep.exr", 0.7f);
    write("other.exr", 0.8f);
    ImageSpec flat(70, 80, 3, OIIO::TypeFloat);
    PictureMeasures seen =
        Measured("flat.exr", flat,
                 [](int x, int y, int channel)
                 {
                     const float value[] = {0.25f + WavyPixel(x, y, 0) / 2, 0.15f, 0.1f};
                     return x < 5 ? 0.0f : value[channel];
                 })
            .measures;
    const ImageReport deep = Measured("deep.exr");
    EXPECT_EQ(deep.reason, "");
    EXPECT_EQ(deep.pixels, 65u * 80 * 3);
    seen.hash = deep.measures.hash;
    EXPECT_EQ(deep.measures, seen);
    EXPECT_NE(Measured("other.exr").measures.hash, seen.hash) << "of all samples";
    EXPECT_EQ(Measured("deep.exr").measures.hash, seen.hash);
    EXPECT_EQ(DecodeImage(m_folder / "deep.exr").measures, PictureMeasures());
}

TEST_F(MeasuredImageTest, MeasuresADeepImageWithoutSamplesAsBlack)
{
    ImageSpec spec(8, 4, 2, OIIO::TypeFloat);
    spec.deep = true;
    spec.channelnames = {"A", "Z"};
    const String name = (m_folder / "deep.exr").Text();
    const auto file = OIIO::ImageOutput::create(name);
    ASSERT_TRUE(file && file->open(name, spec) && file->write_deep_image(OIIO::DeepData(spec)) &&
                file->close());
    const PictureMeasures deep = Measured("deep.exr").measures;
    ASSERT_FALSE(deep.tiles.empty());
    for (const TileMeasure &tile : deep.tiles)
        EXPECT_EQ(tile.black, 255);
}

TEST_F(MeasuredImageTest, MeasuresNothingOfDamagedFiles)
{
    WriteImage(m_folder / "a.png", {70, 80, 3, OIIO::TypeUInt8});
    const std::string content = ContentOf(m_folder / "a.png");
    m_folder.MakeFile("a.png", content.substr(0, content.size() / 2));
    const ImageReport damaged = Measured("a.png");
    EXPECT_NE(damaged.reason, "");
    EXPECT_EQ(damaged.measures, PictureMeasures());
}

TEST_F(MeasuredImageTest, CountsNegativeValuesOfColoursAlone)
{
    const struct
    {
        std::vector<std::string> channels;
        std::uint64_t negative;
    } cases[] = {
        {{"R", "G", "B"}, 10},
        {{"R", "G", "B", "A"}, 10},
        {{"Z"}, 0},
        {{"Y"}, 10},
        {{"N.X", "N.Y", "N.Z"}, 0},
        {{"P.X", "P.Y", "P.Z", "Z"}, 0},
        {{"A", "Z"}, 0},
        {{"r", "g", "b"}, 10},
        {{"Z", "R"}, 10},
        {{"Z", "beauty.R", "beauty.G"}, 10},
        {{"Z", "diffuse.R"}, 10},
        {{"Z", "diffuse.G"}, 10},
        {{"Z", "diffuse.B"}, 10},
        {{"Z", "left.diffuse.b"}, 10},
        {{"Z", "position.Y"}, 0},
        {{"Z", "diffuse.A"}, 0},
        {{"Z", "RGB"}, 0},
    };
    // Every channel has one in the first row.
    const auto value = [](int x, int y, int) { return y == 0 ? -1.0f : float(x); };
    for (const auto &[channels, negative] : cases)
    {
        ImageSpec spec(10, 5, int(channels.size()), OIIO::TypeHalf);
        spec.channelnames = channels;
        EXPECT_EQ(Measured("a.exr", spec, value).negativePixels, negative) << channels.front();
    }
}
