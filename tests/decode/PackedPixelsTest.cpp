// Formats whose packed data are unpacked by this program and not by OpenImageIO, which passes over
// damage in them: what is told of their pixels is the same.
#include <cstdio>
#include <fmt/format.h>
#include <jpeglib.h>
#include <limits>
#include <memory>
#include <tiffio.h>

#include <gtest/gtest.h>

#include "decode/DecodeImage.h"
#include "tests/decode/SampleImage.h"
#include "tests/support/Printing.h"
#include "tests/support/TempFolder.h"

using namespace decode;
using OIIO::ImageSpec;
using ostrel::Path;

namespace
{

constexpr int k_width = 100; // No whole number of tiles.
constexpr int k_height = 70;

ImageSpec ZipTiff(OIIO::TypeDesc type, int channels)
{
    ImageSpec spec(k_width, k_height, channels, type);
    spec["compression"] = "zip";
    return spec;
}

ImageSpec WithPlanes(ImageSpec spec)
{
    spec["planarconfig"] = "separate";
    return spec;
}

ImageSpec WithLooseOpacity(ImageSpec spec)
{
    spec["oiio:UnassociatedAlpha"] = 1;
    return spec;
}

// One pixel at the last place differs.
PixelValue Grey(float spot)
{
    return [spot](int x, int y, int)
    { return x == k_width - 1 && y == k_height - 1 ? spot : 0.25f; };
}

// In the order of bytes that is not this machine's, with each row as differences.
void WriteForeignTiff(const Path &path, std::uint16_t last)
{
    const std::unique_ptr<TIFF, void (*)(TIFF *)> file(TIFFOpen(path.Text().c_str(), "wb"),
                                                       TIFFClose);
    ASSERT_TRUE(file);
    TIFFSetField(file.get(), TIFFTAG_IMAGEWIDTH, k_width);
    TIFFSetField(file.get(), TIFFTAG_IMAGELENGTH, k_height);
    TIFFSetField(file.get(), TIFFTAG_BITSPERSAMPLE, 16);
    TIFFSetField(file.get(), TIFFTAG_SAMPLESPERPIXEL, 1);
    TIFFSetField(file.get(), TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    TIFFSetField(file.get(), TIFFTAG_COMPRESSION, COMPRESSION_ADOBE_DEFLATE);
    TIFFSetField(file.get(), TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
    TIFFSetField(file.get(), TIFFTAG_ROWSPERSTRIP, 16);
    std::vector<std::uint16_t> row(k_width, 513);
    for (int y = 0; y < k_height; ++y)
    {
        row.assign(k_width, 513);
        if (y == k_height - 1)
            row.back() = last;
        ASSERT_EQ(TIFFWriteScanline(file.get(), row.data(), std::uint32_t(y)), 1);
    }
}

struct CloseFile
{
    void operator()(std::FILE *file) const
    {
        std::fclose(file);
    }
};

// As for printing, of four inks.
void WriteInkJpeg(const Path &path, int width, int height)
{
    const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(path.Text().c_str(), "wb"));
    ASSERT_TRUE(file);
    jpeg_error_mgr errors{};
    jpeg_compress_struct image{};
    image.err = jpeg_std_error(&errors);
    jpeg_create_compress(&image);
    jpeg_stdio_dest(&image, file.get());
    image.image_width = JDIMENSION(width);
    image.image_height = JDIMENSION(height);
    image.input_components = 4;
    image.in_color_space = JCS_CMYK;
    jpeg_set_defaults(&image);
    jpeg_start_compress(&image, TRUE);
    std::vector<JSAMPLE> row(std::size_t(width) * 4);
    for (int y = 0; y < height; ++y)
    {
        for (std::size_t i = 0; i < row.size(); ++i)
            row[i] = JSAMPLE(255 * WavyPixel(int(i / 4), y, int(i % 4)));
        JSAMPROW rows = row.data();
        jpeg_write_scanlines(&image, &rows, 1);
    }
    jpeg_finish_compress(&image);
    jpeg_destroy_compress(&image);
}

// The place of the last byte of a block: it is the checksum's.
std::size_t EndOfFirstBlock(const Path &path)
{
    const std::unique_ptr<TIFF, void (*)(TIFF *)> file(TIFFOpen(path.Text().c_str(), "r"),
                                                       TIFFClose);
    return TIFFGetStrileOffset(file.get(), 0) + TIFFGetStrileByteCount(file.get(), 0) - 1;
}

class PackedPixels : public testing::Test
{
protected:
    ImageReport WithBadChecksum(const Path &path)
    {
        std::string content = ContentOf(path);
        char &byte = content[EndOfFirstBlock(path)];
        byte = char(~byte);
        return DecodeImage(m_folder.MakeFile("damaged.tif", content));
    }

    ImageReport WithHole(const Path &path)
    {
        std::string content = ContentOf(path);
        content.replace(content.size() / 2, 4096, std::string(4096, '\0'));
        return DecodeImage(m_folder.MakeFile("damaged.jpg", content));
    }

    TempFolder m_folder;
};

} // namespace

TEST_F(PackedPixels, OfATiffAreLookedAtWhateverWayTheyAreStored)
{
    const struct
    {
        const char *what;
        ImageSpec spec;
        const char *colour; ///< That is told where all pixels are the same.
    } cases[] = {
        {"8 bits", ZipTiff(OIIO::TypeUInt8, 3), "64, 64, 64"},
        {"16 bits, one channel", ZipTiff(OIIO::TypeUInt16, 1), "16384"},
        {"float", ZipTiff(OIIO::TypeFloat, 4), "0.25, 0.25, 0.25, 0.25"},
        {"tiles of 8 bits", Tiled(ZipTiff(OIIO::TypeUInt8, 3)), "64, 64, 64"},
        {"tiles of float", Tiled(ZipTiff(OIIO::TypeFloat, 3)), "0.25, 0.25, 0.25"},
        {"planes", WithPlanes(ZipTiff(OIIO::TypeUInt16, 3)), "16384, 16384, 16384"},
        {"planes of tiles", Tiled(WithPlanes(ZipTiff(OIIO::TypeUInt8, 3))), "64, 64, 64"},
        {"opacity by itself", WithLooseOpacity(ZipTiff(OIIO::TypeUInt8, 4)), "16, 16, 16, 64"},
    };
    const Path path = m_folder / "a.tif";
    for (const auto &[what, spec, colour] : cases)
    {
        WriteImage(path, spec, Grey(0.25f));
        const ImageReport grey = DecodeImage(path);
        EXPECT_EQ(grey.reason, "") << what;
        EXPECT_EQ(grey.colour, colour) << what;
        EXPECT_EQ(grey.pixels, std::uint64_t(k_width * k_height)) << what;

        WriteImage(path, spec, Grey(0.5f));
        EXPECT_EQ(DecodeImage(path).colour, "") << what << ", with a spot";
        if (spec.format == OIIO::TypeFloat)
        {
            WriteImage(path, spec, Grey(std::numeric_limits<float>::infinity()));
            EXPECT_EQ(DecodeImage(path).infinitePixels, 1u) << what;
        }

        WriteImage(path, spec);
        EXPECT_EQ(DecodeImage(path).reason, "") << what;
        EXPECT_NE(WithBadChecksum(path).reason, "") << what;
    }
}

TEST_F(PackedPixels, OfATiffAreTurnedToTheOrderOfThisMachine)
{
    WriteForeignTiff(m_folder / "a.tif", 513);
    EXPECT_EQ(DecodeImage(m_folder / "a.tif").reason, "");
    EXPECT_EQ(DecodeImage(m_folder / "a.tif").colour, "513");
    WriteForeignTiff(m_folder / "a.tif", 514);
    EXPECT_EQ(DecodeImage(m_folder / "a.tif").colour, "");
}

TEST_F(PackedPixels, OfAJpegAreLookedAtToTheLast)
{
    const Path path = m_folder / "a.jpg";
    for (const int channels : {1, 3})
    {
        const ImageSpec spec(k_width, k_height, channels, OIIO::TypeUInt8);
        WriteImage(path, spec, Grey(0.25f));
        EXPECT_EQ(DecodeImage(path).colour, channels == 1 ? "64" : "64, 64, 64");
        EXPECT_EQ(DecodeImage(path).pixels, std::uint64_t(k_width * k_height));
        WriteImage(path, spec, Grey(1));
        EXPECT_EQ(DecodeImage(path).colour, "") << channels;
    }
}

TEST_F(PackedPixels, OfAJpegOfFourInksAreReadToo)
{
    const Path path = m_folder / "a.jpg";
    WriteInkJpeg(path, 400, 300);
    const ImageReport sound = DecodeImage(path);
    EXPECT_EQ(sound.reason, "");
    EXPECT_EQ(sound.channels, "R,G,B");
    EXPECT_EQ(sound.pixels, 400u * 300u);
    EXPECT_NE(WithHole(path).reason, "");
}
