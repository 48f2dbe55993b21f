// What is found in damaged files of each format, and what cannot be: docs/decode.md shows the table
// that this makes.
#include <algorithm>
#include <fmt/format.h>
#include <span>

#include <gtest/gtest.h>

#include "decode/DecodeFiles.h"
#include "decode/Findings.h"
#include "tests/decode/SampleImage.h"
#include "tests/support/Printing.h"
#include "tests/support/TempFolder.h"

using namespace decode;
using OIIO::ImageSpec;

namespace
{

constexpr std::size_t k_block = 4096; // What a file system loses at a time.

struct Format
{
    std::string label;
    std::string extension;
    ImageSpec spec;
};

ImageSpec Spec(OIIO::TypeDesc type, const char *attribute = nullptr, const char *value = nullptr)
{
    ImageSpec spec(320, 200, 3, type);
    if (attribute)
        spec.attribute(attribute, value);
    return spec;
}

ImageSpec TenBits()
{
    ImageSpec spec = Spec(OIIO::TypeUInt16);
    spec["oiio:BitsPerSample"] = 10;
    return spec;
}

std::vector<Format> Formats()
{
    std::vector<Format> formats;
    for (const char *packing :
         {"none", "rle", "zips", "zip", "piz", "pxr24", "b44", "b44a", "dwaa", "dwab"})
        formats.push_back(
            {fmt::format("EXR {}", packing), "exr", Spec(OIIO::TypeHalf, "compression", packing)});
    formats.push_back({"EXR zip, tiled", "exr", Tiled(Spec(OIIO::TypeHalf, "compression", "zip"))});
    formats.push_back({"PNG 8 bits", "png", Spec(OIIO::TypeUInt8)});
    formats.push_back({"PNG 16 bits", "png", Spec(OIIO::TypeUInt16)});
    formats.push_back({"JPEG", "jpg", Spec(OIIO::TypeUInt8)});
    for (const char *packing : {"none", "lzw", "zip", "packbits"})
        formats.push_back({fmt::format("TIFF {}", packing), "tif",
                           Spec(OIIO::TypeUInt16, "compression", packing)});
    formats.push_back(
        {"TIFF zip, tiled", "tif", Tiled(Spec(OIIO::TypeUInt16, "compression", "zip"))});
    formats.push_back({"DPX 8 bits", "dpx", Spec(OIIO::TypeUInt8)});
    formats.push_back({"DPX 10 bits", "dpx", TenBits()});
    formats.push_back({"DPX 16 bits", "dpx", Spec(OIIO::TypeUInt16)});
    return formats;
}

using Contents = std::vector<std::string>;

Contents Truncated(const std::string &good)
{
    Contents damaged{good.substr(0, good.size() - 1)};
    for (std::size_t eighth = 1; eighth < 8; ++eighth)
        damaged.push_back(good.substr(0, good.size() * eighth / 8));
    return damaged;
}

Contents WithHole(const std::string &good)
{
    Contents damaged;
    const std::size_t blocks = good.size() / k_block;
    for (std::size_t block = 1; block < blocks; block += std::max<std::size_t>(blocks / 8, 1))
        damaged.push_back(
            std::string(good).replace(block * k_block, k_block, std::string(k_block, '\0')));
    return damaged;
}

Contents WithFlippedByte(const std::string &good)
{
    Contents damaged;
    for (std::size_t i = 2; i < 18; ++i) // Beyond the header, up to the end.
    {
        damaged.push_back(good);
        char &byte = damaged.back()[good.size() * i / 18 + 1];
        byte = char(~byte);
    }
    return damaged;
}

std::string Cell(std::span<const ImageState> states)
{
    const auto found =
        states.size() - std::size_t(std::count(states.begin(), states.end(), ImageState::Ok));
    if (found == states.size())
        return "found";
    return found == 0 ? "not found" : fmt::format("{} of {}", found, states.size());
}

class DamageTable : public testing::Test
{
protected:
    // A sound file and what damage makes of it; the files are written.
    struct Samples
    {
        std::string label;
        std::vector<std::size_t> columns; ///< How many damaged files each column of the table has.
        std::size_t first = 0;            ///< The place of the sound one among all files.
    };

    Samples MakeSamples(const Format &format)
    {
        const std::string good = GoodFile(format);
        const Contents columns[] = {
            Truncated(good), WithHole(good), WithFlippedByte(good), {""}, {OfAnotherType(format)}};
        Samples samples{format.label, {}, m_files.size()};
        Keep(good, format.extension);
        for (const Contents &column : columns)
        {
            samples.columns.push_back(column.size());
            for (const std::string &content : column)
                Keep(content, format.extension);
        }
        return samples;
    }

    // All at once: to start a decoder takes longer than to read a hundred of these.
    void ReadFiles()
    {
        m_reports.resize(m_files.size());
        DecodeFiles(CORVAN_DECODE_PROGRAM, m_files, DecodeLimits{2},
                    [&](std::size_t file, const ImageReport &report) { m_reports[file] = report; });
    }

    std::string Row(const Samples &samples) const
    {
        std::size_t next = samples.first + 1;
        EXPECT_EQ(StateAmongGood(samples.first, samples.first), ImageState::Ok) << samples.label;

        std::string row = "| " + samples.label;
        for (const std::size_t count : samples.columns)
        {
            std::vector<ImageState> states;
            for (const std::size_t end = next + count; next < end; ++next)
                states.push_back(StateAmongGood(next, samples.first));
            row += " | " + Cell(states);
        }
        return row + " |\n";
    }

private:
    void Keep(const std::string &content, const std::string &extension)
    {
        m_files.push_back(
            m_folder.MakeFile(fmt::format("{}.{}", m_files.size(), extension), content));
    }

    // A file's state as a frame among frames like the good one.
    ImageState StateAmongGood(std::size_t file, std::size_t goodFile) const
    {
        const ImageReport &good = m_reports[goodFile];
        return JudgeImages({&good, &good, &m_reports[file], &good, &good}, 2)[2].state;
    }

    std::string GoodFile(const Format &format)
    {
        const Path path = m_folder / ("sample." + format.extension);
        WriteImage(path, format.spec);
        return ContentOf(path);
    }

    // A PNG, and in place of a PNG an EXR, of the same size and channels.
    std::string OfAnotherType(const Format &format)
    {
        return format.extension == "png" ? GoodFile({"", "exr", Spec(OIIO::TypeHalf)})
                                         : GoodFile({"", "png", Spec(OIIO::TypeUInt8)});
    }

    TempFolder m_folder;
    std::vector<Path> m_files;
    std::vector<ImageReport> m_reports;
};

} // namespace

TEST_F(DamageTable, IsTheOneOfTheDocument)
{
    std::vector<Samples> all;
    for (const Format &format : Formats())
        all.push_back(MakeSamples(format));
    ReadFiles();
    std::string table;
    for (const Samples &samples : all)
        table += Row(samples);
    EXPECT_NE(ContentOf(Path(DAMAGE_PAGE)).find("| --- |\n" + table), std::string::npos)
        << "The table is now:\n"
        << table;
}
