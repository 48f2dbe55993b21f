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
    std::string Row(const Format &format)
    {
        const std::string good = GoodFile(format);
        const Contents columns[] = {
            Truncated(good), WithHole(good), WithFlippedByte(good), {""}, {OfAnotherType(format)}};
        Contents all{good};
        for (const Contents &column : columns)
            all.insert(all.end(), column.begin(), column.end());
        const std::vector<ImageState> states = StatesOf(all, format.extension);
        EXPECT_EQ(states.front(), ImageState::Ok) << format.label;

        std::string row = "| " + format.label;
        std::span<const ImageState> rest(states.begin() + 1, states.end());
        for (const Contents &column : columns)
        {
            row += " | " + Cell(rest.first(column.size()));
            rest = rest.subspan(column.size());
        }
        return row + " |\n";
    }

private:
    // The states of some contents, each as a file among those like the first.
    std::vector<ImageState> StatesOf(const Contents &contents, const std::string &extension)
    {
        std::vector<Path> files;
        for (const std::string &content : contents)
            files.push_back(
                m_folder.MakeFile(fmt::format("{}.{}", files.size(), extension), content));

        std::vector<ImageReport> reports(files.size());
        DecodeFiles(CORVAN_DECODE_PROGRAM, files, DecodeLimits{2},
                    [&](std::size_t file, const ImageReport &report) { reports[file] = report; });

        std::vector<ImageState> states;
        const ImageReport &good = reports.front();
        for (const ImageReport &report : reports)
            states.push_back(JudgeImages({&good, &good, &report, &good, &good}, 2)[2].state);
        return states;
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
};

} // namespace

TEST_F(DamageTable, IsTheOneOfTheDocument)
{
    std::string table;
    for (const Format &format : Formats())
        table += Row(format);
    EXPECT_NE(ContentOf(Path(DAMAGE_PAGE)).find("| --- |\n" + table), std::string::npos)
        << "The table is now:\n"
        << table;
}
