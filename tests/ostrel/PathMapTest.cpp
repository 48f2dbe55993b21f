#include "ostrel/PathMap.h"

#include <gtest/gtest.h>

#include "ostrel/IniFile.h"
#include "tests/support/Printing.h"

using ostrel::PathMap;
using ostrel::String;

TEST(PathMap, PutsTheLocalPrefixForTheSharedOne)
{
    PathMap map;
    map.Add("//server/shots", "/mnt/shots");
    map.Add("//server/shots/big", "/big");
    map.Add("/a/b/", "/c/");
    map.Add("Z:", "/z");
    map.Add("/root", "/");
    map.Add("", "/never");
    map.Add("/gone", "");

    const struct
    {
        const char *shared;
        const char *local;
    } cases[] = {
        {"//server/shots/s1/a.%04d.exr", "/mnt/shots/s1/a.%04d.exr"},
        {"//server/shots", "/mnt/shots"},
        {"//server/shots/", "/mnt/shots/"},
        {"//server/shots/big/a", "/big/a"},
        {"//server/shots/bigger/a", "/mnt/shots/bigger/a"},
        {"//server/shotsX/a", "//server/shotsX/a"},
        {"\\\\server\\shots\\s1\\a.exr", "/mnt/shots/s1/a.exr"},
        {"\\\\server/shots\\s1/a.exr", "/mnt/shots/s1/a.exr"},
        {"\\\\other\\s1\\a.exr", "\\\\other\\s1\\a.exr"},
        {"/a/b/x", "/c/x"},
        {"/a/b", "/c"},
        {"/a/bc", "/a/bc"},
        {"/x/a/b", "/x/a/b"},
        {"Z:\\frames\\a", "/z/frames/a"},
        {"z:\\frames\\a", "z:\\frames\\a"},
        {"/root/a", "/a"},
        {"/root", "/"},
        {"/gone/a", "/gone/a"},
        {"relative", "relative"},
        {"", ""},
    };

    for (const auto &[shared, local] : cases)
        EXPECT_EQ(map.Translate(shared), local) << shared;
}

TEST(PathMap, TheRootAsSharedPrefixFitsAbsolutePathsOnly)
{
    PathMap map;
    map.Add("/", "/mnt");
    EXPECT_EQ(map.Translate("/a"), "/mnt/a");
    EXPECT_EQ(map.Translate("a"), "a");
    EXPECT_EQ(map.Translate(""), "");
}

TEST(PathMap, ComesFromItsOptionsSection)
{
    ostrel::IniFile options;
    String error;
    ASSERT_TRUE(
        options.Parse("[PathMap]\n//server/a = /mnt/a\n\\\\server\\b = \"/mnt/b \"\n", &error));

    const PathMap map(options);
    EXPECT_EQ(map.Translate("//server/a/x"), "/mnt/a/x");
    EXPECT_EQ(map.Translate("//server/b/x"), "/mnt/b /x");
    EXPECT_EQ(PathMap(ostrel::IniFile()).Translate("//server/a/x"), "//server/a/x");
}

TEST(PathMap, PutsTheSharedPrefixForTheLocalOne)
{
    PathMap map;
    map.Add("//server/shots", "/mnt/shots");
    map.Add("//server/big", "/mnt/shots/big/");
    map.Add("\\\\server\\old\\", "/old");
    map.Add("//server/first", "/twice");
    map.Add("//server/the/second", "/twice");
    map.Add("Z:", "/z");
    map.Add("/", "/all");
    map.Add("/rest", "/");

    const struct
    {
        const char *local;
        const char *shared;
    } cases[] = {
        {"/mnt/shots/s1/a.%04d.exr", "//server/shots/s1/a.%04d.exr"},
        {"/mnt/shots", "//server/shots"},
        {"/mnt/shots/", "//server/shots/"},
        {"/mnt/shots/big/a", "//server/big/a"},
        {"/mnt/shots/bigger/a", "//server/shots/bigger/a"},
        {"/mnt/shots/a\\b", "//server/shots/a\\b"},
        {"/old/x/a", "//server/old/x/a"},
        {"/twice/a", "//server/first/a"},
        {"/z/a", "Z:/a"},
        {"/all/a", "/a"},
        {"/all", "/"},
        {"/mnt/shotsX/a", "/rest/mnt/shotsX/a"},
        {"/mnt/shots\\a", "/rest/mnt/shots\\a"},
        {"/", "/rest/"},
        {"relative", "relative"},
        {"\\mnt\\shots\\a", "\\mnt\\shots\\a"},
        {"", ""},
    };
    for (const auto &[local, shared] : cases)
        EXPECT_EQ(map.TranslateBack(local), shared) << local;
    EXPECT_EQ(PathMap().TranslateBack("/mnt/shots/a"), "/mnt/shots/a");
}
