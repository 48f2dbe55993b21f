#include "cli/SetParameter.h"

#include <gtest/gtest.h>

#include "tests/support/Thrown.h"

namespace cli
{
namespace
{

TEST(SetParameter, ReadsSettings)
{
    const struct
    {
        const char *text;
        Setting setting;
    } cases[] = {
        {"Width=640", {"Width", "640"}},
        {"Note=", {"Note", ""}},
        {"Note=a=b", {"Note", "a=b"}},
        {"Arguments=-c\ntrue", {"Arguments", "-c\ntrue"}},
        {"Status=4", {"Status", "4"}},
        {"Status=paused", {"Status", "4"}},
        {"Status=CANCELLED", {"Status", "5"}},
        {"Status=asleep", {"Status", "asleep"}}, // For the Master to refuse.
        {"Name=paused", {"Name", "paused"}},
        // As `--format` takes it.
        {"ImageFormat=/r/a.%04d.exr", {"ImageFormat", "/r/a.%04d.exr"}},
        {"ImageFormat=/r/a.####.exr;/r/b.$F3", {"ImageFormat", "/r/a.%04d.exr;/r/b.%03d"}},
        {R"(ImageFormat=/r/a\;b.%d;"/c;d.%d")", {"ImageFormat", R"(/r/a\;b.%d;/c\;d.%d)"}},
        {"ImageFormat=", {"ImageFormat", ""}}, // Refused where it is set.
    };
    for (const auto &[text, setting] : cases)
        EXPECT_EQ(ParseSetting(text), setting) << text;
}

TEST(SetParameter, MakesPatternsFullPathsAndRefusesWhatIsNone)
{
    const auto setting = ParseSetting("ImageFormat=a.%d");
    ASSERT_TRUE(setting);
    EXPECT_TRUE(setting->second.starts_with("/") && setting->second.ends_with("/a.%d"))
        << setting->second;
    EXPECT_NE(Thrown([] { ParseSetting("ImageFormat=/r/a.exr"); }).find("no place for a frame"),
              std::string::npos);
}

TEST(SetParameter, TakesNoTextWithoutNameOrEqualsSign)
{
    for (const char *text : {"", "Width", "=640", "="})
        EXPECT_FALSE(ParseSetting(text)) << text;
}

} // namespace
} // namespace cli
