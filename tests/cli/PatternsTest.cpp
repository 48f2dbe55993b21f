#include "cli/Patterns.h"

#include <vector>

#include <gtest/gtest.h>

#include "ostrel/PathMap.h"

namespace cli
{
namespace
{

TEST(Patterns, BecomeAbsoluteAndPrintfLike)
{
    const struct
    {
        const char *text;
        const char *folder;
        const char *pattern;
    } cases[] = {
        {"/r/a.%04d.exr", "/home/jo", "/r/a.%04d.exr"},
        {"/r/a.####.exr", "/home/jo", "/r/a.%04d.exr"},
        {"/r/a.@@@@@.exr", "/home/jo", "/r/a.%05d.exr"},
        {"/r/a.$F4.exr", "/home/jo", "/r/a.%04d.exr"},
        {"a.####.exr", "/home/jo", "/home/jo/a.%04d.exr"},
        {"sub/a.%d.exr", "/home/100%", "/home/100%%/sub/a.%d.exr"},
        {"a.####.exr", "/take#2", "/take#2/a.%04d.exr"},
    };
    for (const auto &[text, folder, pattern] : cases)
    {
        String reason;
        EXPECT_EQ(ReadPattern(text, ostrel::Path(folder), &reason), String(pattern)) << reason;
    }
}

TEST(Patterns, OfAnotherMachineAreTranslatedWhereItIsKnownWhatTheyAreHere)
{
    ostrel::PathMap map;
    map.Add("P:", "/mnt/50%done");
    map.Add("/shared", "/mnt/shared");
    map.Add("Q:", "relative");
    ostrel::Path::SetMap(map);
    const struct
    {
        const char *text;
        const char *pattern;
    } cases[] = {
        {R"(P:\shots\a.%04d.exr)", "/mnt/50%%done/shots/a.%04d.exr"},
        {R"(P:/shots\a.####.exr)", "/mnt/50%%done/shots/a.%04d.exr"},
        {R"(Pa:\a.%d.exr)", R"(/home/jo/Pa:\a.%d.exr)"},
        {R"(O:\a.%d.exr)", R"(/home/jo/O:\a.%d.exr)"},
        {R"(Q:\a.%d.exr)", R"(/home/jo/Q:\a.%d.exr)"},
        // What is a path of this machine is typed as it is.
        {"/shared/a.%d.exr", "/shared/a.%d.exr"},
    };
    for (const auto &[text, pattern] : cases)
    {
        String reason;
        EXPECT_EQ(ReadPattern(text, ostrel::Path("/home/jo"), &reason), String(pattern)) << reason;
    }
    ostrel::Path::SetMap({});
}

TEST(Patterns, ThatCannotBeFormattedAreRefusedWithAReason)
{
    for (const char *text : {"/r/a.exr", "/r/a.%s.exr", "/r/%d/a.%d.exr", "/r/a.%n.exr", "/r/50%",
                             "/r/a.%99999d.exr", ""})
    {
        String reason;
        EXPECT_FALSE(ReadPattern(text, ostrel::Path("/home/jo"), &reason)) << text;
        EXPECT_FALSE(reason.empty()) << text;
    }
}

TEST(Patterns, AreJoinedSoThatReadersFindThemAgain)
{
    const struct
    {
        std::vector<String> patterns;
        const char *value;
    } cases[] = {
        {{}, ""},
        {{"/a.%d"}, "/a.%d"},
        {{"/a.%d", "/b.%d"}, "/a.%d;/b.%d"},
        {{"/a;b.%d", "/c\"d\\e.%d"}, R"(/a\;b.%d;/c\"d\\e.%d)"},
    };
    for (const auto &[patterns, value] : cases)
        EXPECT_EQ(JoinPatterns(patterns), value);
}

} // namespace
} // namespace cli
