#include "web/pictures/Decoded.h"

#include <gtest/gtest.h>

using namespace web;

TEST(DecodedJson, TellsWhatReadingAFrameHasShown)
{
    decode::ImageReport sound;
    sound.format = sound.formatByName = "openexr";
    sound.width = 1920;
    sound.height = 1080;
    sound.channels = "R,G,B,A + Z";
    sound.pixels = 12;
    decode::ImageReport wild = sound;
    wild.nanPixels = 3;
    wild.wildChannels = "R";
    decode::ImageReport damaged;
    damaged.format = damaged.formatByName = "png";
    damaged.reason = "it ends\xff \"early\"";
    decode::ImageReport unseen;
    unseen.trouble = "took longer than 60 s";

    const std::string begin =
        R"({"width":1920,"height":1080,"channels":["R","G","B","A","Z"],"format":"openexr",)";
    const struct
    {
        const decode::ImageReport &report;
        std::string json;
    } cases[] = {
        {sound, begin + R"("detail":"","trouble":""})"},
        {wild, begin + R"("detail":"3 NaN of 12 pixels, in R","trouble":""})"},
        {damaged, R"({"width":null,"height":null,"channels":[],"format":"png",)"
                  "\"detail\":\"cannot be decoded: it ends\xef\xbf\xbd \\\"early\\\"\","
                  R"("trouble":""})"},
        {unseen, R"({"width":null,"height":null,"channels":[],"format":"","detail":"",)"
                 R"("trouble":"took longer than 60 s"})"},
    };
    for (const auto &[report, json] : cases)
        EXPECT_EQ(DecodedJson(report), json);
}
