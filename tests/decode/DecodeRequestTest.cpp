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

} // namespace

TEST(DecodeRequest, ComesBackAsItWasSent)
{
    const DecodeRequest cases[] = {
        {"/r/a.exr", std::nullopt},
        {"/r/with blanks\nand lines.exr", std::nullopt},
        {"report", std::nullopt},
        PictureOf("/r/a.exr", {}),
        PictureOf("/r/a.exr", {16, -20.0f, PictureChannels::Luma, "/r/b.exr"}),
        PictureOf("/r/\xff.exr", {4096, 0.1f, PictureChannels::Alpha, {}}),
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
        "picture\0/r/a"s,
        "picture\0/r/a\000256\0000\0rgb"s,
        "picture\0/r/a\00015\0000\0rgb\0"s,
        "picture\0/r/a\000256x\0000\0rgb\0"s,
        "picture\0/r/a\000256\0nan\0rgb\0"s,
        "picture\0/r/a\000256\0inf\0rgb\0"s,
        "picture\0/r/a\000256\0000\0rgba\0"s,
        "picture\0/r/a\000256\0000\0rgb\0/r/b\0"s,
        "remove\0/r/a"s,
    };
    for (const std::string &message : cases)
        EXPECT_FALSE(ParseRequest(message)) << message;
    EXPECT_TRUE(ParseRequest("picture\0/r/a\000256\0000\0rgb\0"s)) << "the one that is right";
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
