#include "decode/FileEnd.h"

#include <gtest/gtest.h>

#include "tests/decode/SampleImage.h"
#include "tests/support/Printing.h"
#include "tests/support/TempFolder.h"

using namespace decode;
using namespace std::string_literals;

namespace
{

const std::string k_jpeg_start = "\xff\xd8\xff\xe0\x00\x04"s + "ab" + "\xff\xda\x00\x03"s + "x";

} // namespace

TEST(FileEnd, OfAJpegIsItsEndMarkerAndNoneThatBelongsToSomethingElse)
{
    const TempFolder folder;
    const struct
    {
        std::string content;
        bool isWhole;
    } cases[] = {
        {k_jpeg_start + "data\xff\xd9", true},
        {k_jpeg_start + "data\xff\xd9 and what a camera adds", true},
        {k_jpeg_start + "data\xff\xff\xd9", true},
        {k_jpeg_start + "data\xff\x00\xff\xd0 more\xff\xd9"s, true},
        {k_jpeg_start + "data", false},
        {k_jpeg_start + "data\xff", false},
        {k_jpeg_start + "data\xff\x00\xd9"s, false},
        {"\xff\xd8\xff\xe1\x00\x06"s + "\xff\xd9", false}, // In a picture within.
        {"\xff\xd8\xff\xe1\x00"s, false},
        {"\xff\xd8\xff", false},
    };
    for (const auto &[content, isWhole] : cases)
    {
        const String reason = FindMissingEnd(folder.MakeFile("a.jpg", content), "jpeg");
        EXPECT_EQ(reason, isWhole ? "" : "the file ends before its end marker") << content;
    }
}

TEST(FileEnd, IsMissedAtTheFirstByteThatIsNotThere)
{
    const TempFolder folder;
    OIIO::ImageSpec tenBits(64, 48, 3, OIIO::TypeUInt16);
    tenBits["oiio:BitsPerSample"] = 10;
    const struct
    {
        const char *name;
        const char *format;
        OIIO::ImageSpec spec;
    } cases[] = {
        {"a.png", "png", {64, 48, 4, OIIO::TypeUInt8}},
        {"a.jpg", "jpeg", {64, 48, 3, OIIO::TypeUInt8}},
        {"a.dpx", "dpx", tenBits},
        {"b.dpx", "dpx", {64, 48, 4, OIIO::TypeUInt16}},
        {"c.dpx", "dpx", {63, 47, 3, OIIO::TypeUInt8}},
    };
    for (const auto &[name, format, spec] : cases)
    {
        const Path path = folder / name;
        WriteImage(path, spec);
        const std::string content = ContentOf(path);
        EXPECT_EQ(FindMissingEnd(path, format), "") << name;
        for (const std::size_t size : {std::size_t(3), content.size() / 2, content.size() - 1})
            EXPECT_NE(FindMissingEnd(folder.MakeFile(name, content.substr(0, size)), format), "")
                << name << " of " << size << " bytes";
    }
}

TEST(FileEnd, IsNotLookedForWhereTheLibraryDoes)
{
    const TempFolder folder;
    EXPECT_EQ(FindMissingEnd(folder.MakeFile("a.exr", "x"), "openexr"), "");
    EXPECT_EQ(FindMissingEnd(folder.MakeFile("a.exr", "x"), ""), "");
}
