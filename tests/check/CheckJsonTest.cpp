#include "check/CheckJson.h"

#include <cmath>
#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include "check/JsonControls.h"
#include "tests/check/SampleJob.h"
#include "tests/check/SampleTable.h"

namespace check
{
namespace
{

using Json = nlohmann::ordered_json;

Json Written(const std::vector<CheckTable> &tables, const corvan::Job *job = nullptr,
             CheckDepth depth = CheckDepth::Sizes)
{
    std::string text;
    {
        TextWriter out([&text](std::string_view piece) { text += piece; });
        WriteJson(out, job, tables, depth);
    }
    return Json::parse(text);
}

TEST(JsonControls, AreWrittenAsEscapesAndReadAsWhatTheyAre)
{
    const struct
    {
        std::string json;
        const char *written;
    } cases[] = {
        {"\"a\"", "\"a\""},
        {"\"\x7f\"", "\"\\u007f\""},
        {"\"\xc2\x80\xc2\x9f\"", "\"\\u0080\\u009f\""},
        {"\"\xc2\xa0\xc3\x9b\"", "\"\xc2\xa0\xc3\x9b\""},
    };
    for (const auto &[json, written] : cases)
    {
        EXPECT_EQ(WithoutControls(json), written);
        EXPECT_EQ(Json::parse(WithoutControls(json)), Json::parse(json));
    }
}

TEST(CheckJson, HoldsNothingThatATerminalActsOn)
{
    std::string text;
    {
        TextWriter out([&text](std::string_view piece) { text += piece; });
        WriteJson(out, nullptr,
                  std::vector{SampleTable("/r/\x1b\x7f\xc2\x9b.%02d", {CheckState::Missing})},
                  CheckDepth::Sizes);
    }
    for (const char *control : {"\x1b", "\x7f", "\xc2\x9b"})
        EXPECT_EQ(text.find(control), std::string::npos) << text;
}

TEST(CheckJson, TellsOfEachFrameInTheOrderOfTheRows)
{
    CheckTable table =
        SampleTable("/r/f.%02d", {CheckState::Ok, CheckState::Missing, CheckState::TooSmall});
    std::swap(table.frames[0], table.frames[2]);
    std::swap(table.states[0], table.states[2]);
    const Json expected = {
        {"job", nullptr},
        {"tables",
         {{{"format", "/r/f.%02d"},
           {"frames",
            {{{"frame", 3},
              {"path", "/r/f.03"},
              {"state", "too-small"},
              {"size", 3000},
              {"modified", "1970-01-01T00:00:03.000000000Z"}},
             {{"frame", 2},
              {"path", "/r/f.02"},
              {"state", "missing"},
              {"size", nullptr},
              {"modified", nullptr}},
             {{"frame", 1},
              {"path", "/r/f.01"},
              {"state", "ok"},
              {"size", 1000},
              {"modified", "1970-01-01T00:00:01.000000000Z"}}}},
           {"counts", {{"files", 3}, {"ok", 1}, {"missing", 1}, {"too-small", 1}, {"outlier", 0}}},
           {"bad", "2,3"}}}},
    };
    EXPECT_EQ(Written({table}).dump(1), expected.dump(1));
}

TEST(CheckJson, TellsScoresWhereTheRobustRuleHasJudged)
{
    CheckTable table = SampleTable("/r/%d", {CheckState::Ok, CheckState::Ok, CheckState::Missing,
                                             CheckState::Outlier, CheckState::Ok});
    for (analysis::FrameRecord &frame : table.frames)
        frame.size = frame.frame == 4 ? 500'000 : 1000;
    EXPECT_FALSE(Written({table})["tables"][0]["frames"][0].contains("score"));
    table.sizeRule = corvan::SizeRule::Robust;
    const Json frames = Written({table})["tables"][0]["frames"];
    EXPECT_EQ(frames[0]["score"], 0);
    EXPECT_EQ(frames[2]["score"], nullptr);
    // Eight octaves and 247 steps of 256, in thirds of what fifteen percent are.
    EXPECT_NEAR(frames[3]["score"].get<double>(), 3 * std::log2(500.0) / std::log2(1.15), 0.1);
}

TEST(CheckJson, WritesAnyPathAndNumber)
{
    CheckTable table = SampleTable("/a \"b\"\\\n\xC3\xA4\xFF/%d\t", {CheckState::Ok});
    table.frames[0].frame = -2147483647 - 1;
    table.frames[0].size = 18446744073709551615u;
    const Json frame = Written({table})["tables"][0]["frames"][0];
    EXPECT_EQ(frame["frame"], -2147483648LL);
    EXPECT_EQ(frame["size"], 18446744073709551615u);
    EXPECT_EQ(frame["path"], "/a \"b\"\\\n\xC3\xA4\xEF\xBF\xBD/-2147483648\t");
}

TEST(CheckJson, TellsWhatWasFoundInImages)
{
    CheckTable table = SampleTable("/r/%d", {CheckState::Nan, CheckState::Ok});
    table.details[0] = "3 pixels of \"R\"";
    const Json written = Written({table}, nullptr, CheckDepth::Images)["tables"][0];
    EXPECT_EQ(written["frames"][0]["detail"], "3 pixels of \"R\"");
    EXPECT_FALSE(written["frames"][1].contains("detail"));
    EXPECT_EQ(written["counts"]["nan"], 1);
    EXPECT_EQ(written["counts"]["blank"], 0);
}

TEST(CheckJson, TellsWhereInAPictureSomethingWasFound)
{
    CheckTable table = SampleTable("/r/%d", {CheckState::Ok, CheckState::Patch});
    table.details[1] = "a block is old";
    table.places[1] = {.x = 64, .y = 0, .width = 32, .height = 16};
    const Json written = Written({table}, nullptr, CheckDepth::Pictures)["tables"][0];
    EXPECT_EQ(written["frames"][1]["place"],
              (Json{{"x", 64}, {"y", 0}, {"width", 32}, {"height", 16}}));
    EXPECT_FALSE(written["frames"][0].contains("place"));
    EXPECT_EQ(written["counts"], (Json{{"files", 2},
                                       {"ok", 1},
                                       {"missing", 0},
                                       {"too-small", 0},
                                       {"outlier", 0},
                                       {"undecodable", 0},
                                       {"odd-image", 0},
                                       {"blank", 0},
                                       {"nan", 0},
                                       {"duplicate", 0},
                                       {"black", 0},
                                       {"patch", 1},
                                       {"pop", 0},
                                       {"sparks", 0}}));
}

TEST(CheckJson, TellsWhyAnImageWasNotLookedAt)
{
    CheckTable table = SampleTable("/r/%d", {CheckState::Ok, CheckState::Ok});
    table.troubles[1] = "took \"long\"";
    const Json written = Written({table}, nullptr, CheckDepth::Images)["tables"][0];
    EXPECT_FALSE(written["frames"][0].contains("not-looked-at"));
    EXPECT_EQ(written["frames"][1]["not-looked-at"], "took \"long\"");
    EXPECT_EQ(written["frames"][1]["state"], "ok");
    EXPECT_EQ(written["bad"], "");
}

TEST(CheckJson, NamesTheJobAndHoldsItsTables)
{
    const auto job = SampleJob("00112233-4455-6677-8899-aabbccddeeff", "n");
    const Json written = Written({SampleTable("/a%d", {}), SampleTable("/b%d", {})}, job.get());
    EXPECT_EQ(written["job"], "00112233-4455-6677-8899-aabbccddeeff");
    EXPECT_EQ(written["tables"].size(), 2u);
    EXPECT_EQ(written["tables"][1]["frames"], Json::array());
    EXPECT_EQ(Written({})["tables"], Json::array());
}

} // namespace
} // namespace check
