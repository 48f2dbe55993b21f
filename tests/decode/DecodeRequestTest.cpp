#include "decode/DecodeRequest.h"

#include <limits>

#include <gtest/gtest.h>

using namespace decode;

namespace
{

DecodeRequest PictureOf(const Path &path, const PictureWish &wish)
{
    return {path, wish};
}

DecodeRequest StripOf(const Path &path, const StripWish &wish)
{
    return {path, std::nullopt, ReportDepth::Whole, wish};
}

} // namespace

TEST(DecodeRequest, ComesBackAsItWasSent)
{
    const DecodeRequest cases[] = {
        {"/r/a.exr", std::nullopt},
        {"/r/with blanks\nand lines.exr", std::nullopt},
        {"report", std::nullopt},
        {"/r/a.exr", std::nullopt, ReportDepth::Measured},
        {"measured", std::nullopt, ReportDepth::Measured},
        PictureOf("/r/a.exr", {}),
        PictureOf("/r/a.exr", {16, -20.0f, PictureChannels::Luma, "/r/b.exr"}),
        PictureOf("/r/\xff.exr", {4096, 0.1f, PictureChannels::Alpha, {}}),
        StripOf("/r/a.exr", {{0, 0, 1, 1}}),
        StripOf("/r/b.exr", {{7, 8, 9, 10}, "/r/a.exr", "/r/c.exr", 32, StripCells::Brightest}),
        StripOf("/r/b.exr", {{1 << 20, 1 << 20, 1 << 20, 1 << 20}, {}, "/r/c.exr", 1024}),
    };
    for (const DecodeRequest &request : cases)
    {
        const auto message = PackRequest(request);
        ASSERT_TRUE(message) << request.path.Text();
        EXPECT_EQ(ParseRequest(*message), request) << *message;
    }
}

TEST(DecodeRequest, IsNotMadeOfWhatNoMessageCanSay)
{
    using namespace std::string_literals;
    const DecodeRequest cases[] = {
        {"", std::nullopt},
        {"/r/a\0b"s, std::nullopt},
        {std::string(5000, 'x'), std::nullopt},
        PictureOf("/r/a", {15}),
        PictureOf("/r/a", {4097}),
        PictureOf("/r/a", {256, 20.5f}),
        PictureOf("/r/a", {256, std::numeric_limits<float>::quiet_NaN()}),
        PictureOf("/r/a", {256, 0.0f, PictureChannels(17)}),
        PictureOf("/r/a", {256, 0.0f, PictureChannels::Rgb, "/r/\0b"s}),
        StripOf("", {{0, 0, 1, 1}}),
        StripOf("/r/a", {}),
        StripOf("/r/a", {{0, 0, 0, 1}}),
        StripOf("/r/a", {{0, 0, 1, 0}}),
        StripOf("/r/a", {{-1, 0, 1, 1}}),
        StripOf("/r/a", {{0, -1, 1, 1}}),
        StripOf("/r/a", {{(1 << 20) + 1, 0, 1, 1}}),
        StripOf("/r/a", {{0, 0, std::numeric_limits<int>::max(), 1}}),
        StripOf("/r/a", {{0, 0, 1, 1}, "/r/\0b"s}),
        StripOf("/r/a", {{0, 0, 1, 1}, {}, std::string(5000, 'x')}),
        StripOf("/r/a", {{0, 0, 1, 1}, {}, {}, 31}),
        StripOf("/r/a", {{0, 0, 1, 1}, {}, {}, 1025}),
        StripOf("/r/a", {{0, 0, 1, 1}, {}, {}, 480, StripCells(2)}),
        {"/r/a", PictureWish(), ReportDepth::Whole, StripWish{{0, 0, 1, 1}}},
    };
    for (const DecodeRequest &request : cases)
        EXPECT_FALSE(PackRequest(request)) << request.path.Text();
}

TEST(DecodeRequest, RefusesEveryOtherMessage)
{
    using namespace std::string_literals;
    const std::string cases[] = {
        "",
        "report",
        "/r/a.exr",
        "report\0"s,
        "report\0/r/a\0/r/b"s,
        "measured"s,
        "measured\0"s,
        "measured\0/r/a\0/r/b"s,
        "Measured\0/r/a"s,
        "picture\0/r/a"s,
        "picture\0/r/a\000256\0000\0rgb"s,
        "picture\0/r/a\00015\0000\0rgb\0"s,
        "picture\0/r/a\000256x\0000\0rgb\0"s,
        "picture\0/r/a\000256\0nan\0rgb\0"s,
        "picture\0/r/a\000256\0inf\0rgb\0"s,
        "picture\0/r/a\000256\0000\0rgba\0"s,
        "picture\0/r/a\000256\0000\0rgb\0/r/b\0"s,
        "strip\0/r/a"s,
        "strip\0/r/a\0\0\0000\0000\0001\0001"s,
        "strip\0/r/a\0\0\0000\0000\0001\0001\000480\0mean\0"s,
        "strip\0/r/a\0\0\000-1\0000\0001\0001\000480\0mean"s,
        "strip\0/r/a\0\0\0000\0000\0000\0001\000480\0mean"s,
        "strip\0/r/a\0\0\0000\0000\0001\00099999999999\000480\0mean"s,
        "strip\0/r/a\0\0\0000\0000\0001\0001\0001e3\0mean"s,
        "strip\0/r/a\0\0\0000\0000\0001\0001\000\0mean"s,
        "strip\0/r/a\0\0\0000\0000\0001\0001\000480"s,
        "strip\0/r/a\0\0\0000\0000\0001\0001\000480\0median"s,
        "remove\0/r/a"s,
    };
    for (const std::string &message : cases)
        EXPECT_FALSE(ParseRequest(message)) << message;
    EXPECT_TRUE(ParseRequest("picture\0/r/a\000256\0000\0rgb\0"s)) << "one that is right";
    EXPECT_TRUE(ParseRequest("strip\0/r/a\0\0\0000\0000\0001\0001\000480\0mean"s)) << "and another";
}

TEST(PictureWish, KnowsItsChannelsByName)
{
    for (const char *name : {"rgb", "r", "g", "b", "a", "luma"})
    {
        const auto channels = ParseChannels(name);
        ASSERT_TRUE(channels) << name;
        EXPECT_EQ(ChannelsName(*channels), name);
    }
    for (const char *name : {"", "RGB", "z", "rgba"})
        EXPECT_FALSE(ParseChannels(name)) << name;
}
