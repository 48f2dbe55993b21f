#include "cli/SetParameter.h"

#include <gtest/gtest.h>

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
    };
    for (const auto &[text, setting] : cases)
        EXPECT_EQ(ParseSetting(text), setting) << text;
}

TEST(SetParameter, TakesNoTextWithoutNameOrEqualsSign)
{
    for (const char *text : {"", "Width", "=640", "="})
        EXPECT_FALSE(ParseSetting(text)) << text;
}

} // namespace
} // namespace cli
