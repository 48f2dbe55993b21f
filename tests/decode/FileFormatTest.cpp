#include "decode/FileFormat.h"

#include <gtest/gtest.h>

#include "tests/support/Printing.h"

using namespace decode;

TEST(FileFormat, IsKnownByTheName)
{
    const struct
    {
        const char *path;
        const char *format;
    } cases[] = {
        {"/r/a.0001.exr", "openexr"},
        {"/r/a.EXR", "openexr"},
        {"/r/a.tif", "tiff"},
        {"/r/a.jpeg", "jpeg"},
        {"/r/a.dpx", "dpx"},
        {"/r/a.png", "png"},
        {"/r/a.0001", ""},
        {"/r/a", ""},
        {"/r.exr/a", ""},
        {"/r/a.exr.part", ""},
        {"/r/a.null", ""},
    };
    for (const auto &[path, format] : cases)
        EXPECT_EQ(FormatByName(path), format) << path;
}

TEST(FileFormat, IsKnownByTheContent)
{
    using namespace std::string_view_literals;
    const struct
    {
        std::string_view head;
        const char *format;
    } cases[] = {
        {"\x76\x2f\x31\x01\x02\0\0\0"sv, "openexr"},
        {"\x89PNG\r\n\x1a\n\0\0"sv, "png"},
        {"\xff\xd8\xff\xe0"sv, "jpeg"},
        {"II*\0"sv, "tiff"},
        {"MM\0*"sv, "tiff"},
        {"SDPX\0\0"sv, "dpx"},
        {"XPDS"sv, "dpx"},
        {"\x89PNG"sv, ""},
        {"\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0"sv, ""},
        {"", ""},
    };
    for (const auto &[head, format] : cases)
        EXPECT_EQ(FormatByContent(head), format) << head;
}
