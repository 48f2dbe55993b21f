#include "ostrel/Path.h"

#include <set>
#include <unordered_set>

#include <gtest/gtest.h>

#include "ostrel/PathMap.h"
#include "tests/support/Printing.h"

using ostrel::Path;

TEST(Path, LeafIsTheLastComponentWithOrWithoutItsExtension)
{
    const struct
    {
        const char *path;
        const char *leaf;
        const char *bare;
    } cases[] = {
        {"", "", ""},
        {"/", "", ""},
        {"a", "a", "a"},
        {"a/", "", ""},
        {"a/b.exr", "b.exr", "b"},
        {"a/b.tar.gz", "b.tar.gz", "b.tar"},
        {"a.b/c", "c", "c"},
        {".profile", ".profile", ".profile"},
        {"a/.profile.old", ".profile.old", ".profile"},
        {"..", "..", ".."},
        {"...", "...", "..."},
        {"a/..b", "..b", "..b"},
        {"b.", "b.", "b"},
        {"CorvanGui.ini", "CorvanGui.ini", "CorvanGui"},
        {"ünï/cödé.exr", "cödé.exr", "cödé"},
    };

    for (const auto &[path, leaf, bare] : cases)
    {
        EXPECT_EQ(Path(path).Leaf(true), leaf) << path;
        EXPECT_EQ(Path(path).Leaf(false), bare) << path;
    }
}

TEST(Path, ParentIsAllBeforeTheLastComponent)
{
    const struct
    {
        const char *path;
        const char *parent;
    } cases[] = {
        {"", ""},     {"a", ""},       {"/", "/"},     {"/a", "/"},   {"//a", "/"},
        {"a/b", "a"}, {"a/b/", "a/b"}, {"/a/b", "/a"}, {"a//b", "a"}, {"a/b/c.exr", "a/b"},
    };

    for (const auto &[path, parent] : cases)
        EXPECT_EQ(Path(path).Parent().Text(), parent) << path;
}

TEST(Path, TakesAFurtherComponent)
{
    const struct
    {
        const char *path;
        const char *leaf;
        const char *whole;
    } cases[] = {
        {"a", "b", "a/b"}, {"a/", "b", "a/b"},    {"/", "b", "/b"},
        {"", "b", "b"},    {"a", "b/c", "a/b/c"},
    };

    for (const auto &[path, leaf, whole] : cases)
        EXPECT_EQ((Path(path) / leaf).Text(), whole) << path << " and " << leaf;
}

TEST(Path, OrdersByItsBytes)
{
    const std::set<Path> paths = {"b", "a/2", "a/10", "A", "é", "a"};
    std::string order;
    for (const Path &path : paths)
        order += path.Text() + ' ';
    EXPECT_EQ(order, "A a a/10 a/2 b é ");
    EXPECT_TRUE(Path("a") == Path("a"));
    EXPECT_TRUE(Path("a") != Path("a/"));
}

TEST(Path, IsAKeyOfHashedContainers)
{
    const std::unordered_set<Path> paths = {"a", "b", "a"};
    EXPECT_EQ(paths.size(), 2u);
    EXPECT_TRUE(paths.contains("b"));
}

TEST(Path, IsTranslatedByTheMapThatIsSet)
{
    EXPECT_EQ(Path("//server/shots/a.exr").TranslateToLocal().Text(), "//server/shots/a.exr");

    ostrel::PathMap map;
    map.Add("//server/shots", "/mnt/shots");
    Path::SetMap(map);
    EXPECT_EQ(Path("//server/shots/a.exr").TranslateToLocal().Text(), "/mnt/shots/a.exr");
    EXPECT_EQ(Path("/mnt/shots/a.exr").TranslateToShared().Text(), "//server/shots/a.exr");

    Path::SetMap({});
    EXPECT_EQ(Path("//server/shots/a.exr").TranslateToLocal().Text(), "//server/shots/a.exr");
}

TEST(Path, DoublesThePercentSignsOfThePrefixesOfAPatternAlone)
{
    ostrel::PathMap map;
    map.Add("//server/100%", "/50%done");
    Path::SetMap(map);
    using ostrel::PathKind;
    EXPECT_EQ(Path("//server/100%/a").TranslateToLocal(), "/50%done/a");
    EXPECT_EQ(Path("/50%done/a").TranslateToShared(), "//server/100%/a");
    EXPECT_EQ(Path("//server/100%%/a.%d").TranslateToLocal(PathKind::Pattern), "/50%%done/a.%d");
    EXPECT_EQ(Path("/50%%done/a.%d").TranslateToShared(PathKind::Pattern), "//server/100%%/a.%d");
    EXPECT_EQ(Path("/50%done/a.%d").TranslateToShared(PathKind::Pattern), "/50%done/a.%d");
    Path::SetMap({});
}
